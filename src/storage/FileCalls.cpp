#include "storage/FileCalls.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace zumra::storage {

int SystemFileCalls::Open(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}
ssize_t SystemFileCalls::Read(int fd, void* buffer, std::size_t size) {
    return ::read(fd, buffer, size);
}
ssize_t SystemFileCalls::Write(int fd, const void* buffer, std::size_t size) {
    return ::write(fd, buffer, size);
}
int SystemFileCalls::Fsync(int fd) {
    return ::fsync(fd);
}
int SystemFileCalls::Close(int fd) {
    return ::close(fd);
}
int SystemFileCalls::Rename(const char* from, const char* to) {
    return std::rename(from, to);
}
int SystemFileCalls::Link(const char* from, const char* to) {
    return ::link(from, to);
}
int SystemFileCalls::Unlink(const char* path) {
    return ::unlink(path);
}

}  // namespace zumra::storage
