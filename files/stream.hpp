// The buffered positional file layer every format reads and writes through.
//
// A stream holds an open file, its length and one buffer.  Reads and writes
// name their position and byte count; a failure does not stop the caller at
// once but sets one of two sticky flags, and the caller asks status() at the
// end of each step: -7 after an input/output failure, -10 after a read past
// the end of the file (the missing bytes read as zero), else 0.
#pragma once

#include "files/os.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace mvip::files {

class Stream {
public:
    Stream() = default;
    ~Stream() { close(); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Open by an fopen-style mode ("rb", "r+b", "wb", "w+b") with a buffer
    // of 2^buffer_log2 bytes (0: the default, 2^16).  0, -1 (null name, bad
    // mode, already open, log2 above 30), -2, -13 or -14 (see os_open).
    int32_t open(const char* name, const char* mode, uint32_t buffer_log2 = 0);
    size_t buffer_size() const { return buffer_size_; }
    bool is_open() const { return file_.is_open(); }
    const std::string& name() const { return name_; }

    void read(uint64_t pos, void* buffer, size_t n);
    void write(uint64_t pos, const void* buffer, size_t n);
    // The file's length including bytes still in the buffer.
    uint64_t length() const { return length_; }
    // True when [pos, pos + n) lies inside the file.
    bool holds(uint64_t pos, uint64_t n) const { return pos <= length_ && n <= length_ - pos; }

    // -7 input/output failure, -10 read past the end, else 0.
    int32_t status() const;
    // Forget both sticky flags.
    void clear_status() { io_failed_ = past_end_ = false; }
    // Write out buffered bytes; the status afterwards.
    int32_t flush();
    // Flush and close; the status, or -7 when closing failed.  Closing a
    // closed stream answers 0.
    int32_t close();
    // Close and delete the file (the failure path of every writer).
    void close_and_remove();

private:
    bool flush_buffer();
    bool fill(uint64_t pos);

    static constexpr uint32_t kDefaultLog2 = 16;
    size_t buffer_size_ = size_t(1) << kDefaultLog2;
    OsFile file_;
    std::string name_;
    std::unique_ptr<unsigned char[]> buffer_;
    uint64_t buffer_pos_ = 0;   // file position of buffer_[0]
    size_t buffer_len_ = 0;     // valid bytes in the buffer
    bool dirty_ = false;        // the buffer holds bytes not yet written
    uint64_t length_ = 0;
    bool io_failed_ = false;
    bool past_end_ = false;
};

// Byte-order helpers for the formats: little- or big-endian values.
inline uint16_t load_u16(const unsigned char* p, bool big) {
    return big ? uint16_t(p[0] << 8 | p[1]) : uint16_t(p[1] << 8 | p[0]);
}
inline uint32_t load_u32(const unsigned char* p, bool big) {
    return big ? uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]
               : uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}
inline void store_u16(unsigned char* p, uint16_t v, bool big) {
    if (big) { p[0] = uint8_t(v >> 8); p[1] = uint8_t(v); }
    else { p[0] = uint8_t(v); p[1] = uint8_t(v >> 8); }
}
inline void store_u32(unsigned char* p, uint32_t v, bool big) {
    if (big) { p[0] = uint8_t(v >> 24); p[1] = uint8_t(v >> 16); p[2] = uint8_t(v >> 8); p[3] = uint8_t(v); }
    else { p[0] = uint8_t(v); p[1] = uint8_t(v >> 8); p[2] = uint8_t(v >> 16); p[3] = uint8_t(v >> 24); }
}

}  // namespace mvip::files
