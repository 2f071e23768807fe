#include "zumra-settingsd/Listener.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "storage/StoreLock.h"
#include "zumra/osa/Exception.h"

namespace zumra::settingsd {

namespace {

constexpr int kBacklog = 512;

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
    throw osa::Exception("cannot listen on '" + path + "': " + reason);
}

[[noreturn]] void FailWithErrno(const std::string& path) {
    Fail(path, std::generic_category().message(errno));
}

sockaddr_un Address(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        Fail(path, "the path must have 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

int NewSocket(const std::string& path) {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) {
        FailWithErrno(path);
    }
    return descriptor;
}

const sockaddr* Generic(const sockaddr_un& address) {
    return static_cast<const sockaddr*>(static_cast<const void*>(&address));
}

/// Throws when something else than a socket is.
bool IsThere(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        return false;
    }
    if (!S_ISSOCK(status.st_mode)) {
        Fail(path, "it is there and is no socket");
    }
    return true;
}

/// Removes a socket that nobody serves any more.
void RemoveStale(const std::string& path, const sockaddr_un& address) {
    if (!IsThere(path)) {
        return;
    }
    const int probe = NewSocket(path);
    const bool served = ::connect(probe, Generic(address), sizeof address) == 0 || errno == EAGAIN;
    ::close(probe);
    if (served) {
        Fail(path, "another process serves it");
    }
    ::unlink(path.c_str());
}

gid_t GroupOf(const std::string& path, const std::string& name) {
    const ::group* found =
        ::getgrnam(name.c_str());  // NOLINT(concurrency-mt-unsafe): before there are threads
    if (found == nullptr) {
        Fail(path, "there is no group of users '" + name + "'");
    }
    return found->gr_gid;
}

void SetGroup(const std::string& path, const std::string& name) {
    if (::chown(path.c_str(), static_cast<uid_t>(-1), GroupOf(path, name)) != 0) {
        FailWithErrno(path);
    }
}

}  // namespace

Listener::Listener(const std::string& path, mode_t mode, const std::string& group) {
    const sockaddr_un address = Address(path);
    _lock = std::make_unique<storage::StoreLock>(path);
    RemoveStale(path, address);
    _descriptor = NewSocket(path);
    // Nobody may connect before mode and group are as they were asked for.
    const mode_t mask = ::umask(0777);
    const int bound = ::bind(_descriptor, Generic(address), sizeof address);
    ::umask(mask);
    try {
        if (bound != 0) {
            FailWithErrno(path);
        }
        _path = path;
        if (!group.empty()) {
            SetGroup(path, group);
        }
        if (::chmod(path.c_str(), mode) != 0 || ::listen(_descriptor, kBacklog) != 0) {
            FailWithErrno(path);
        }
    } catch (...) {
        ::close(_descriptor);
        if (!_path.empty()) {
            ::unlink(_path.c_str());
        }
        throw;
    }
}

Listener::Listener(int descriptor) : _descriptor(descriptor) {
    ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
}

void Listener::Check(const std::string& path, const std::string& group) {
    (void)Address(path);
    (void)IsThere(path);
    if (!group.empty()) {
        (void)GroupOf(path, group);
    }
}

Listener::~Listener() {
    if (!_path.empty()) {
        ::unlink(_path.c_str());
    }
    ::close(_descriptor);
}

}  // namespace zumra::settingsd
