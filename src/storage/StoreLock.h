#pragma once

#include <string>

namespace zumra::storage {

/// Keeps a second process from using the same file: holds a lock on `path` + ".lock" as long as it exists.
/// The system gives the lock back when the process ends, however it ends; the file itself stays.
class StoreLock {
public:
    /// Never waits. Throws `zumra::osa::Exception` "'<path>' is in use by another process" or
    /// "cannot lock '<path>.lock': <reason>".
    explicit StoreLock(const std::string& path);
    ~StoreLock();
    StoreLock(const StoreLock&) = delete;
    StoreLock& operator=(const StoreLock&) = delete;

private:
    int _fd;
};

}  // namespace zumra::storage
