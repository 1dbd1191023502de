#include "files/jpeg/huffman_decode.hpp"

#include "mvip.h"

#include <cstring>

namespace mvip::files::jpeg {

int32_t DecodeTable::init(const HuffTable& codes) {
    std::memset(fast, 0, sizeof fast);
    uint32_t code = 0, k = 0;
    for (uint32_t len = 1; len <= 16; ++len) {
        const uint32_t n = codes.counts[len - 1];
        offset[len] = int32_t(k) - int32_t(code);
        for (uint32_t i = 0; i < n; ++i, ++k, ++code) {
            if (k >= 256 || code >= (1u << len)) return MVERR_FORMAT;
            symbols[k] = codes.symbols[k];
            if (len <= kFastBits) {
                const uint32_t shift = kFastBits - len;
                for (uint32_t j = 0; j < (1u << shift); ++j)
                    fast[(code << shift) | j] = uint16_t(len << 8 | codes.symbols[k]);
            }
        }
        maxcode[len] = n != 0 ? int32_t(code) - 1 : -1;
        code <<= 1;
    }
    maxcode[17] = 0x7FFFFFFF;
    // Codes with their value bits within the fast bits.
    std::memset(ac_bits, 0, sizeof ac_bits);
    for (uint32_t look = 0; look < (1u << kFastBits); ++look) {
        const uint16_t e = fast[look];
        const uint32_t len = e >> 8, size = e & 15, run = (e & 0xFF) >> 4;
        if (len == 0 || size == 0 || len + size > kFastBits) continue;
        const int32_t v = int32_t((look >> (kFastBits - len - size)) & ((1u << size) - 1));
        ac_value[look] = int16_t(v < (1 << (size - 1)) ? v - (1 << size) + 1 : v);
        ac_run[look] = uint8_t(run);
        ac_bits[look] = uint8_t(len + size);
    }
    return 0;
}

bool BitReader::restart() {
    acc_ = 0;
    bits_ = 0;
    padding_ = 0;
    // Bytes of the interval not yet taken (its padding), and fill bytes.
    while (p_ < end_) {
        if (p_[0] == 0xFF && p_ + 1 < end_ && p_[1] != 0 && p_[1] != 0xFF) break;
        p_ += p_[0] == 0xFF && p_ + 1 < end_ && p_[1] == 0 ? 2 : 1;
    }
    if (p_ + 1 < end_ && p_[0] == 0xFF && p_[1] >= 0xD0 && p_[1] <= 0xD7) {
        p_ += 2;
        return true;
    }
    return false;
}

}  // namespace mvip::files::jpeg
