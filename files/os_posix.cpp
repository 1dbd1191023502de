// POSIX implementation of the host file interface (see os.hpp).
#ifndef _WIN32

#include "files/os.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mvip::files {

int32_t os_open(const char* name, const char* mode, OsFile& file) {
    file.value = -1;
    if (name == nullptr || mode == nullptr) return -1;
    const bool plus = mode[0] != '\0' && mode[1] == '+';
    int flags;
    int32_t failure;
    if (mode[0] == 'r') {
        flags = plus ? O_RDWR : O_RDONLY;
        failure = -13;
    } else if (mode[0] == 'w') {
        flags = (plus ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
        failure = -14;
    } else {
        return -1;
    }
    int fd;
    do {
        fd = ::open(name, flags | O_CLOEXEC, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return failure;
    struct stat st;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {  // directories, devices
        ::close(fd);
        return failure;
    }
    file.value = fd;
    return 0;
}

bool os_read(OsFile file, uint64_t pos, void* buffer, size_t n, size_t& got) {
    got = 0;
    auto* out = static_cast<unsigned char*>(buffer);
    while (got < n) {
        const ssize_t r = ::pread(int(file.value), out + got, n - got, off_t(pos + got));
        if (r < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (r == 0) break;
        got += size_t(r);
    }
    return true;
}

bool os_write(OsFile file, uint64_t pos, const void* buffer, size_t n) {
    size_t done = 0;
    auto* in = static_cast<const unsigned char*>(buffer);
    while (done < n) {
        const ssize_t w = ::pwrite(int(file.value), in + done, n - done, off_t(pos + done));
        if (w < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        if (w == 0) return false;
        done += size_t(w);
    }
    return true;
}

bool os_length(OsFile file, uint64_t& length) {
    struct stat st;
    if (::fstat(int(file.value), &st) != 0) return false;
    length = uint64_t(st.st_size);
    return true;
}

bool os_close(OsFile& file) {
    if (!file.is_open()) return true;
    const bool ok = ::close(int(file.value)) == 0;
    file.value = -1;
    return ok;
}

bool os_remove(const char* name) { return name != nullptr && ::unlink(name) == 0; }

}  // namespace mvip::files

#endif
