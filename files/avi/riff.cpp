#include "files/avi/riff.hpp"

#include <algorithm>

namespace mvip::files::avi {

uint64_t RiffWriter::open(uint32_t id, uint32_t list_type) {
    const uint64_t header = pos_;
    u32(id);
    u32(0);
    if (list_type != 0) u32(list_type);
    return header;
}

void RiffWriter::close(uint64_t header) {
    const uint64_t size = pos_ - header - 8;
    patch_u32(header + 4, uint32_t(size));
    if (size & 1) zeros(1);
}

void RiffWriter::chunk(uint32_t id, const void* data, size_t n) {
    const uint64_t header = open(id);
    bytes(data, n);
    close(header);
}

void RiffWriter::bytes(const void* data, size_t n) {
    s_.write(pos_, data, n);
    pos_ += n;
}

void RiffWriter::zeros(uint64_t n) {
    static const unsigned char kZero[4096] = {};
    while (n != 0) {
        const size_t take = size_t(std::min<uint64_t>(n, sizeof kZero));
        bytes(kZero, take);
        n -= take;
    }
}

void RiffWriter::u16(uint16_t v) {
    unsigned char b[2];
    store_u16(b, v, false);
    bytes(b, 2);
}

void RiffWriter::u32(uint32_t v) {
    unsigned char b[4];
    store_u32(b, v, false);
    bytes(b, 4);
}

void RiffWriter::u64(uint64_t v) {
    u32(uint32_t(v));
    u32(uint32_t(v >> 32));
}

void RiffWriter::patch_u32(uint64_t at, uint32_t v) {
    unsigned char b[4];
    store_u32(b, v, false);
    s_.write(at, b, 4);
}

void RiffWriter::patch_u64(uint64_t at, uint64_t v) {
    patch_u32(at, uint32_t(v));
    patch_u32(at + 4, uint32_t(v >> 32));
}

}  // namespace mvip::files::avi
