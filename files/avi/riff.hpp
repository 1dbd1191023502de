// Writing RIFF chunks through the buffered file layer: chunks are opened
// with a size of 0, appended to, and closed by patching the size in (and
// padding the payload to an even length).  Positions are 64-bit; a chunk's
// payload must stay below 4 GiB, which the writers check before they grow
// one.
#pragma once

#include "files/stream.hpp"

#include <cstddef>
#include <cstdint>

namespace mvip::files::avi {

class RiffWriter {
public:
    explicit RiffWriter(Stream& s) : s_(s) {}
    // The position the next byte goes to.
    uint64_t pos() const { return pos_; }

    // Open a chunk (list_type 0) or a RIFF/LIST list with its type code;
    // answers the position of the chunk's header.
    uint64_t open(uint32_t id, uint32_t list_type = 0);
    // Patch the size of the chunk opened at `header` to end here, and add a
    // pad byte when the payload's length is odd.
    void close(uint64_t header);
    // A whole chunk of n bytes (padded to an even length).
    void chunk(uint32_t id, const void* data, size_t n);

    void bytes(const void* data, size_t n);
    void zeros(uint64_t n);
    void u16(uint16_t v);
    void u32(uint32_t v);
    void u64(uint64_t v);

    // Overwrite values written earlier.
    void patch_u32(uint64_t at, uint32_t v);
    void patch_u64(uint64_t at, uint64_t v);

private:
    Stream& s_;
    uint64_t pos_ = 0;
};

}  // namespace mvip::files::avi
