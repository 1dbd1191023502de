#include "files/stream.hpp"

#include <algorithm>
#include <cstring>
#include <new>

namespace mvip::files {

int32_t Stream::open(const char* name, const char* mode, uint32_t buffer_log2) {
    if (name == nullptr || mode == nullptr || is_open() || buffer_log2 > 30) return -1;
    buffer_size_ = size_t(1) << (buffer_log2 ? buffer_log2 : kDefaultLog2);
    buffer_.reset(new (std::nothrow) unsigned char[buffer_size_]);
    if (!buffer_) return -2;
    try {
        name_ = name;
    } catch (...) {
        return -2;
    }
    const int32_t rc = os_open(name, mode, file_);
    if (rc != 0) return rc;
    if (!os_length(file_, length_)) {
        os_close(file_);
        return mode[0] == 'w' ? -14 : -13;
    }
    buffer_pos_ = 0;
    buffer_len_ = 0;
    dirty_ = false;
    io_failed_ = past_end_ = false;
    return 0;
}

bool Stream::flush_buffer() {
    if (dirty_ && buffer_len_ != 0) {
        if (!os_write(file_, buffer_pos_, buffer_.get(), buffer_len_)) io_failed_ = true;
    }
    dirty_ = false;
    return !io_failed_;
}

// Load the buffer with the bytes from pos on (as many as the file has).
bool Stream::fill(uint64_t pos) {
    if (!flush_buffer()) return false;
    size_t got = 0;
    if (!os_read(file_, pos, buffer_.get(), buffer_size_, got)) {
        io_failed_ = true;
        buffer_len_ = 0;
        return false;
    }
    buffer_pos_ = pos;
    buffer_len_ = got;
    return true;
}

void Stream::read(uint64_t pos, void* out, size_t n) {
    auto* dst = static_cast<unsigned char*>(out);
    if (!is_open()) {
        io_failed_ = true;
        std::memset(dst, 0, n);
        return;
    }
    if (!holds(pos, n)) {
        past_end_ = true;
        const size_t have = pos < length_ ? size_t(length_ - pos) : 0;
        std::memset(dst + have, 0, n - have);
        n = have;
    }
    while (n != 0) {
        if (pos >= buffer_pos_ && pos < buffer_pos_ + buffer_len_) {
            const size_t off = size_t(pos - buffer_pos_);
            const size_t take = std::min(n, buffer_len_ - off);
            std::memcpy(dst, buffer_.get() + off, take);
            dst += take;
            pos += take;
            n -= take;
            continue;
        }
        if (n >= buffer_size_) {  // large reads go straight to the file
            if (!flush_buffer()) break;
            size_t got = 0;
            if (!os_read(file_, pos, dst, n, got) || got != n) {
                io_failed_ = true;
                std::memset(dst + got, 0, n - got);
            }
            return;
        }
        if (!fill(pos) || buffer_len_ == 0) break;
    }
    if (n != 0) {
        std::memset(dst, 0, n);
        io_failed_ = true;
    }
}

void Stream::write(uint64_t pos, const void* in, size_t n) {
    auto* src = static_cast<const unsigned char*>(in);
    if (!is_open()) {
        io_failed_ = true;
        return;
    }
    if (n == 0) return;
    // Append to (or overwrite inside) the buffered range when it fits.
    const bool touches = pos >= buffer_pos_ && pos <= buffer_pos_ + buffer_len_;
    if (touches && pos - buffer_pos_ + n <= buffer_size_) {
        const size_t off = size_t(pos - buffer_pos_);
        std::memcpy(buffer_.get() + off, src, n);
        buffer_len_ = std::max(buffer_len_, off + n);
        dirty_ = true;
    } else {
        if (!flush_buffer()) return;
        if (n >= buffer_size_) {
            buffer_len_ = 0;
            buffer_pos_ = pos + n;
            if (!os_write(file_, pos, src, n)) io_failed_ = true;
        } else {
            // Start a new buffered range at pos holding just these bytes.
            buffer_pos_ = pos;
            std::memcpy(buffer_.get(), src, n);
            buffer_len_ = n;
            dirty_ = true;
        }
    }
    length_ = std::max(length_, pos + n);
}

int32_t Stream::status() const {
    if (io_failed_) return -7;
    if (past_end_) return -10;
    return 0;
}

int32_t Stream::flush() {
    if (is_open()) flush_buffer();
    return status();
}

int32_t Stream::close() {
    if (!is_open()) return 0;
    flush_buffer();
    if (!os_close(file_)) io_failed_ = true;
    buffer_.reset();
    buffer_len_ = 0;
    return status();
}

void Stream::close_and_remove() {
    if (is_open()) {
        dirty_ = false;  // nothing more needs to reach the disk
        os_close(file_);
        buffer_.reset();
        buffer_len_ = 0;
    }
    if (!name_.empty()) os_remove(name_.c_str());
}

}  // namespace mvip::files
