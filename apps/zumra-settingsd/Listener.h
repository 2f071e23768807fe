#pragma once

#include <sys/types.h>

#include <memory>
#include <string>

namespace zumra::storage {
class StoreLock;
}

namespace zumra::settingsd {

/// The Unix socket that the daemon listens on. Owns the path: takes over a socket that a daemon left behind,
/// and removes its own at the end. A lock beside the path keeps a second daemon away.
class Listener {
public:
    /// Throws `zumra::osa::Exception` that names the path: another process serves it, it is no socket, its
    /// folder or group is not there, or it is longer than the system allows.
    Listener(const std::string& path, mode_t mode, const std::string& group);
    /// A listening socket that the service manager made: `descriptor` is taken over; its path is left alone.
    explicit Listener(int descriptor);
    ~Listener();

    /// Throws, as the constructor does, for a path or a group of users that can be none; makes nothing and
    /// does not mind who serves the path.
    static void Check(const std::string& path, const std::string& group);

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    /// Non-blocking; still owned by the listener.
    [[nodiscard]] int Descriptor() const { return _descriptor; }

private:
    std::string _path;
    std::unique_ptr<storage::StoreLock> _lock;
    int _descriptor = -1;
};

}  // namespace zumra::settingsd
