#pragma once

#include <sys/types.h>

#include <cstddef>

namespace zumra::storage {

/// The system calls that a store makes, so that a test can stand in for the system. Each behaves as the call
/// of the same name: -1 and `errno` for an error.
class IFileCalls {
public:
    virtual ~IFileCalls() = default;
    virtual int Open(const char* path, int flags, mode_t mode) = 0;
    virtual ssize_t Read(int fd, void* buffer, std::size_t size) = 0;
    virtual ssize_t Write(int fd, const void* buffer, std::size_t size) = 0;
    virtual int Fsync(int fd) = 0;
    virtual int Close(int fd) = 0;
    virtual int Rename(const char* from, const char* to) = 0;
    virtual int Link(const char* from, const char* to) = 0;
    virtual int Unlink(const char* path) = 0;
};

/// The real ones. Any thread may use them.
class SystemFileCalls : public IFileCalls {
public:
    int Open(const char* path, int flags, mode_t mode) override;
    ssize_t Read(int fd, void* buffer, std::size_t size) override;
    ssize_t Write(int fd, const void* buffer, std::size_t size) override;
    int Fsync(int fd) override;
    int Close(int fd) override;
    int Rename(const char* from, const char* to) override;
    int Link(const char* from, const char* to) override;
    int Unlink(const char* path) override;
};

}  // namespace zumra::storage
