// The operating-system side of the file layer: the only code of the library
// that opens, reads, writes, sizes, closes or deletes files.  One source per
// host implements it (os_posix.cpp, os_win32.cpp); nothing else knows which
// one is built.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mvip::files {

// An open file of the host.  `value` is a descriptor or a handle; -1 when
// closed.
struct OsFile {
    intptr_t value = -1;
    bool is_open() const { return value != -1; }
};

// Open `name` by an fopen-style mode: "rb" read; "r+b" read and write an
// existing file; "wb" create or truncate for writing; "w+b" the same with
// reading back.  0, -13 (cannot be opened for reading or update), -14 (cannot
// be created), -1 (null name or a mode of another form).
int32_t os_open(const char* name, const char* mode, OsFile& file);
// Read up to n bytes at pos; false on an input/output error.  `got` is the
// number of bytes read (less than n at the end of the file).
bool os_read(OsFile file, uint64_t pos, void* buffer, size_t n, size_t& got);
// Write n bytes at pos (extending the file); false unless all were written.
bool os_write(OsFile file, uint64_t pos, const void* buffer, size_t n);
// The file's length in bytes; false on an error.
bool os_length(OsFile file, uint64_t& length);
// Close (false on an error); the record becomes closed either way.
bool os_close(OsFile& file);
// Delete a file by name; false when it could not be deleted.
bool os_remove(const char* name);

}  // namespace mvip::files
