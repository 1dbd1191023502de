#include "files/jpeg/huffman_encode.hpp"

namespace mvip::files::jpeg {

void EncodeTable::init(const HuffTable& codes) {
    std::memset(code, 0, sizeof code);
    std::memset(length, 0, sizeof length);
    uint32_t next = 0, k = 0;
    for (uint32_t len = 1; len <= 16; ++len) {
        for (uint32_t i = 0; i < codes.counts[len - 1]; ++i, ++k, ++next) {
            code[codes.symbols[k]] = uint16_t(next);
            length[codes.symbols[k]] = uint8_t(len);
        }
        next <<= 1;
    }
}

}  // namespace mvip::files::jpeg
