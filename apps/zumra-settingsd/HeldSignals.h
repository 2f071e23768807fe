#pragma once

namespace zumra::settingsd {

/// SIGTERM, SIGINT and SIGHUP, kept by the system until the event loop can serve them: none of them ends a
/// daemon that is still loading, and none is lost. Once, from the main thread, before there are others: they
/// inherit that they do not get these signals.
class HeldSignals {
public:
    static void Hold();
    /// Whether SIGTERM or SIGINT came since.
    [[nodiscard]] static bool StopIsPending();
    /// What came since comes now.
    static void Release();
};

}  // namespace zumra::settingsd
