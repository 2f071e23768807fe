#pragma once

namespace zumra::settingsd {

/// What the daemon tells and asks systemd. Without libsystemd at build time, or when systemd did not start
/// the process, nothing happens and there is no inherited socket.
class ServiceManager {
public:
    /// The listening Unix socket that was handed over; -1 when there is none. Throws `zumra::osa::Exception`
    /// when more than one was, or one of another kind.
    [[nodiscard]] static int InheritedSocket();
    static void Ready();
    static void Reloading();
    static void Stopping();
};

}  // namespace zumra::settingsd
