// Win32 implementation of the host file interface (see os.hpp).
#ifdef _WIN32

#include "files/os.hpp"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

namespace mvip::files {

namespace {

// ReadFile and WriteFile count in 32-bit words: larger transfers go in
// pieces of at most this many bytes.
constexpr size_t kChunk = size_t(1) << 30;

HANDLE handle_of(OsFile file) { return reinterpret_cast<HANDLE>(file.value); }

// An OVERLAPPED naming an absolute file position.  On a handle opened for
// synchronous input/output the call still waits for the transfer; the
// offset only replaces the file pointer, so no seek has to precede it.
OVERLAPPED at(uint64_t pos) {
    OVERLAPPED o = {};
    o.Offset = DWORD(pos & 0xFFFFFFFFu);
    o.OffsetHigh = DWORD(pos >> 32);
    return o;
}

}  // namespace

int32_t os_open(const char* name, const char* mode, OsFile& file) {
    file.value = -1;
    if (name == nullptr || mode == nullptr) return -1;
    const bool plus = mode[0] != '\0' && mode[1] == '+';
    DWORD access;
    DWORD disposition;
    int32_t failure;
    if (mode[0] == 'r') {
        access = plus ? (GENERIC_READ | GENERIC_WRITE) : GENERIC_READ;
        disposition = OPEN_EXISTING;
        failure = -13;
    } else if (mode[0] == 'w') {
        access = plus ? (GENERIC_READ | GENERIC_WRITE) : GENERIC_WRITE;
        disposition = CREATE_ALWAYS;
        failure = -14;
    } else {
        return -1;
    }
    // Others may read the file meanwhile, and delete it (the deletion
    // takes effect once the last handle is closed).
    const HANDLE h = ::CreateFileA(name, access, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                   disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return failure;
    // Only files on disk: directories (which CreateFileA opens only when
    // asked to), devices such as NUL or CON, pipes.
    BY_HANDLE_FILE_INFORMATION info;
    if (::GetFileType(h) != FILE_TYPE_DISK || !::GetFileInformationByHandle(h, &info) ||
        (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        ::CloseHandle(h);
        return failure;
    }
    file.value = reinterpret_cast<intptr_t>(h);
    return 0;
}

bool os_read(OsFile file, uint64_t pos, void* buffer, size_t n, size_t& got) {
    got = 0;
    auto* out = static_cast<unsigned char*>(buffer);
    while (got < n) {
        const DWORD want = DWORD(n - got < kChunk ? n - got : kChunk);
        OVERLAPPED o = at(pos + got);
        DWORD r = 0;
        if (!::ReadFile(handle_of(file), out + got, want, &r, &o)) {
            // A positional read that starts at or beyond the end reports
            // the end as an error.
            if (::GetLastError() == ERROR_HANDLE_EOF) break;
            return false;
        }
        if (r == 0) break;
        got += r;
    }
    return true;
}

bool os_write(OsFile file, uint64_t pos, const void* buffer, size_t n) {
    size_t done = 0;
    auto* in = static_cast<const unsigned char*>(buffer);
    while (done < n) {
        const DWORD want = DWORD(n - done < kChunk ? n - done : kChunk);
        OVERLAPPED o = at(pos + done);
        DWORD w = 0;
        if (!::WriteFile(handle_of(file), in + done, want, &w, &o)) return false;
        if (w == 0) return false;
        done += w;
    }
    return true;
}

bool os_length(OsFile file, uint64_t& length) {
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(handle_of(file), &size)) return false;
    length = uint64_t(size.QuadPart);
    return true;
}

bool os_close(OsFile& file) {
    if (!file.is_open()) return true;
    const bool ok = ::CloseHandle(handle_of(file)) != 0;
    file.value = -1;
    return ok;
}

bool os_remove(const char* name) { return name != nullptr && ::DeleteFileA(name) != 0; }

}  // namespace mvip::files

#endif
