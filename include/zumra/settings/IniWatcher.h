#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// Keeps a program's own document in step with the settings of a client: the program chooses groups by name
/// or pattern, and each update brings the document up to date with what happened to them since the last one.
///
///     core::IniFile document;
///     IniWatcher watcher(&client, &document);
///     watcher.AddPattern("Alarms/*");
///     watcher.Update();                              // everything there is
///     while (running) {
///         if (watcher.WaitForChange(std::chrono::seconds(1)) && watcher.Update()) {
///             Apply(document);
///         }
///     }
///
/// In an event loop of one's own, wait until `FileDescriptor()` is readable and call `TryUpdate`. Nothing
/// needs to be polled.
///
/// The document is touched inside `Update` and `TryUpdate` only, on the thread that calls them. Its groups
/// that are watched belong to the watcher, which replaces a changed group whole: do not write into them. Its
/// other groups are left alone.
///
/// Several changes of one group between two updates are kept as the last of them. So what waits for the next
/// update takes memory for the groups that are watched, however many changes there are and however long the
/// program does not update.
///
/// Thread-safety: every operation may be called from any thread, also while changes are made on others;
/// `Update` and `TryUpdate` on two threads apply one after the other. The document itself has no lock: read
/// it on the thread that updates. A callback of the same client may use the watcher too.
///
/// Lifetime: the client and the document are not owned. Both must outlive the watcher.
class ZUMRA_EXPORT IniWatcher {
public:
    /// Reads nothing and changes nothing yet. Throws `zumra::osa::Exception` when `client` or `document` is
    /// null, or when the system has no file descriptor left.
    IniWatcher(ZumraSettingsClient* client, core::IniFile* document);
    /// Stops watching; the document keeps its content. May wait for a change that is arriving at that moment,
    /// but never for a program's callback.
    ~IniWatcher();
    IniWatcher(const IniWatcher&) = delete;
    IniWatcher& operator=(const IniWatcher&) = delete;

    /// Watches the group of this name or, when it ends in "*", every group whose name begins with what stands
    /// before the "*". A pattern may be added at any time: before the first `Update` it is only remembered;
    /// afterwards the client is asked at once (which waits for the server's answer), and the groups come with
    /// the next `Update` or `TryUpdate`, which then returns true. A pattern that was added before is no
    /// change.
    ///
    /// Throws `zumra::osa::Exception` when the server cannot be asked; the pattern is added nevertheless, and
    /// the next `Update` asks again.
    void AddPattern(const std::string& pattern);

    /// The first time: makes the watched groups of the document what the client holds (removing those that it
    /// does not hold) and returns true, also when there is nothing at all. Later: applies every change since
    /// the previous update, in the order in which they were made, and returns whether there was any, even if
    /// they cancel each other out. Without a pattern no group is watched.
    ///
    /// Waits until everything that the client did before, on whichever thread, is applied; what other
    /// clients of the same server had done by then is applied too.
    ///
    /// Throws `zumra::osa::Exception` when the server cannot be asked; the document is then unchanged and a
    /// later update makes up for it.
    ///
    /// Cost: the changed groups; the first time, and after `AddPattern`, the watched ones.
    bool Update();

    /// As a later `Update`, but waits for nothing: applies what has arrived. Changes that this client made
    /// have arrived by the time the call that made them returns. Where a change found no memory when it
    /// arrived, only an `Update` makes up for it.
    ///
    /// Throws `zumra::osa::Exception` "TryUpdate called before Update" before the first successful `Update`,
    /// and changes nothing then.
    bool TryUpdate();

    /// Blocks until there is something for an update, or until `timeout` of monotonic time has passed; true
    /// when there is something. Before the first `Update`: true at once. A timeout of zero or below only
    /// looks. Times over 20 days are cut to that.
    bool WaitForChange(std::chrono::milliseconds timeout);

    /// A descriptor that is readable (for `poll`, `epoll` and the like) as long as there is something for an
    /// update: from the start until the first `Update`, and from each change until the next update. Owned by
    /// the watcher: do not read from it or close it.
    [[nodiscard]] int FileDescriptor() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings
