#include "storage/StoreLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "zumra/osa/Exception.h"

namespace zumra::storage {

StoreLock::StoreLock(const std::string& path) {
    const std::string lock = path + ".lock";
    _fd = ::open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (_fd < 0) {
        throw osa::Exception("cannot lock '" + lock + "': " + std::generic_category().message(errno));
    }
    if (::flock(_fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        ::close(_fd);
        if (error == EWOULDBLOCK) {
            throw osa::Exception("'" + path + "' is in use by another process");
        }
        throw osa::Exception("cannot lock '" + lock + "': " + std::generic_category().message(error));
    }
}

StoreLock::~StoreLock() {
    ::close(_fd);
}

}  // namespace zumra::storage
