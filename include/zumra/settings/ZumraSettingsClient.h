#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/IChangeCallback.h"

namespace zumra::settings {

namespace client {
class IBackend;
}

/// A program's access to the settings: a store of named groups, each with named values. A program makes one,
/// and keeps it as long as it needs settings.
///
///     ZumraSettingsClient client(ZumraSettingsClient::kLocal);
///     client.SetValue("[Camera/1]name", "front door");
///     std::string name = client.GetValue("[Camera/1]name");
///
/// **Groups** are selected by a pattern: a group's name, or a prefix followed by "*" that stands for every
/// group whose name begins with the prefix ("Camera/*", "*"). A set of patterns selects what any of them
/// selects; one that selects nothing is no error.
///
/// **Locators** name one value: "[" group "]" name, such as "[Camera/1]name"; `common::SettingLocator` says
/// how names with unusual bytes are written. A text without that form throws "Failed to parse '<text>' as a
/// SettingLocator", and nothing is read or changed.
///
/// **Order**: an operation that returned has been applied, and every later read, by whomever, sees it. Each
/// operation is one step: no one sees a part of it.
///
/// **Thread-safety**: every operation may be called from any thread, by many threads at once, and from within
/// a callback. None waits for another thread's callback, except `UnSubscribe` as said there. The destructor
/// must not run while another operation does, nor within a callback of this client.
///
/// **Errors** are `zumra::osa::Exception`. What the server refuses is thrown by the call that asked for it,
/// with the server's text, and nothing was changed. In the modes with a connection any operation may throw
/// "connection lost: ..." or, when the server does not keep to the protocol, "protocol error: ..."; whether a
/// change that was under way then was applied is not known, and every further call throws the same, except
/// with `kRemote`, where the client connects again (`RemoteOptions`).
///
/// **Memory**: an operation that finds none throws `std::bad_alloc`, has changed nothing, and may be tried
/// again. In the modes with a connection that is so for the whole of a reply; where a notification finds no
/// memory, or the server's end within this program, the connection is lost: "connection lost: out of memory".
/// A callback that finds no memory for what it is to be told is called when there is, before those that come
/// after it; without a thread for callbacks the error handler is given `std::bad_alloc` instead.
///
/// **Cost**: reading costs what is read, changing what is changed; the size of the store does not matter.
class ZUMRA_EXPORT ZumraSettingsClient {
public:
    /// Where the store is and how it is reached. The numbers are fixed.
    enum OperationMode {
        /// The store is in this object; operations work on it directly. No thread. Callbacks run on the
        /// thread that makes the change, within the call.
        kLocal = 2,
        /// As behind a connection to another process, but the server's end is run by the calling thread,
        /// within the call. No thread. Callbacks run on the calling thread, at the end of the call.
        kLocalSingleThreadedPipe = 3,
        /// As behind a connection to another process; the server's end, and callbacks, run on threads of this
        /// object, started by the constructor and ended by the destructor.
        kLocalMultiThreadedPipe = 4,
        /// The store is kept by a server, `zumra-settingsd`, and reached over its Unix socket; it outlives
        /// this object and is shared with other programs. See `RemoteOptions`. Callbacks run on a thread of
        /// this object, which has two more for the connection.
        kRemote = 5,
    };

    /// How a server is reached, and what becomes of operations when it is not.
    ///
    /// The constructor does not wait for the server. When the connection is lost, because the server ended,
    /// was killed, said nothing for too long or broke the protocol, the client connects again by itself, in
    /// use or not: first after 20 ms, then after pauses that double up to 2 s. It subscribes again, and
    /// every callback and watcher is told of each group that it asked for and that now differs from what it
    /// was last told, all of them in one call. So no change is missed, though several may be told as one;
    /// and none is invented: nobody is told of a group that is as it was last told, or that came and went
    /// meanwhile. What the server itself lost (it was killed before it saved) is a change back.
    ///
    /// **Reading, subscribing and `Sync`** are begun again with the next connection when theirs is lost.
    /// **Changes and `Flush`** are sent once: when the connection is lost before any of the request was sent
    /// they wait for the next one, and otherwise throw "connection lost: <why>; whether the request was
    /// carried out is not known". They are never sent twice, for between the two another program may have
    /// made a change that the second would undo. What was acknowledged and is not yet saved may be lost with
    /// a server that is killed: the next `Flush` then throws "connection lost: changes made before may not
    /// have been saved", once, also when the server did save them before it ended.
    ///
    /// When memory ends on a thread of the client's own, the connection is given up, or the attempt to make
    /// one; the next attempt follows as above, until there is memory. Meanwhile operations wait and throw as
    /// without a server. Nothing is missed by that and nothing told twice.
    ///
    /// **Memory**: the groups that are subscribed to are kept as they were last told, and changes that wait
    /// for callbacks up to 256 MiB; when more than that waits, the connection is given up, and what differs
    /// is told when the callbacks have caught up. Subscribing reads what is subscribed to in one reply, and
    /// connecting again all that is subscribed to, in as many as it takes. The server bounds requests and
    /// replies: `zumra-settingsd` takes documents of 16 MiB and gives replies of 64 MiB unless it is told
    /// otherwise, and ends a connection that asks for more.
    struct RemoteOptions {
        /// The server's socket; empty: `DefaultSocketPath`, looked up at each attempt to connect.
        std::string socketPath;
        /// How long an operation waits for a server that is not there, before it throws "no server at
        /// '<path>': <why>" or why the last connection was lost; also the time after which one that was
        /// interrupted is not begun again. 0 and less: it waits only for an attempt to connect that is under
        /// way. The default outlasts a server's restart.
        std::chrono::milliseconds patience{5000};
        /// How long a server that is there may say and take nothing while it owes an answer, before it
        /// counts as gone: operations then throw "connection lost: the server does not answer". Less than
        /// 1 ms counts as 1 ms, more than a day as a day. The default lets it wait for a slow disk in `Flush`
        /// and the merges with a test. It is the silence that counts: a server that goes on saying or taking
        /// something, however slowly, is waited for, so this does not bound the time of an operation. A
        /// program that must not wait for a server that it cannot trust asks it on a thread of its own.
        std::chrono::milliseconds silence{30000};
    };

    /// Why a test-and-merge was refused: the first difference that was found.
    ///
    /// | name | expected | actual | meaning |
    /// |---|---|---|---|
    /// | set | set | set | the value's text is another |
    /// | set | set | - | there is no such value |
    /// | set | - | set | there is a value that was not expected |
    /// | - | - | - | there is no such group |
    /// | - | - | set | there is a group that was not expected |
    struct Difference {
        std::string group;
        std::optional<std::string> name;
        std::optional<std::string> expected;
        std::optional<std::string> actual;
    };

    /// Receives what a callback threw; must not throw itself.
    using CallbackErrorHandler = std::function<void(std::exception_ptr)>;

    /// An empty store, or with `kRemote` the server's at `DefaultSocketPath`. Throws "unknown operation mode
    /// <number>", and in the modes with a connection what the system refused ("cannot make a socket pair:
    /// ...").
    explicit ZumraSettingsClient(OperationMode mode);
    /// A store that starts as a copy of `defaults`, to which `RestoreToDefaults` goes back. Throws "the
    /// defaults are the server's" with `kRemote`.
    ZumraSettingsClient(OperationMode mode, const core::IniFile& defaults);
    /// `kRemote` with the server on this socket, which need not be there yet: operations wait for it. Throws
    /// "cannot start a thread: <why>".
    ///
    ///     ZumraSettingsClient client("/run/zumra/settings.sock");
    explicit ZumraSettingsClient(const std::string& socketPath);
    /// As above.
    ///
    ///     ZumraSettingsClient::RemoteOptions options;
    ///     options.patience = std::chrono::seconds(1);
    ///     ZumraSettingsClient client(options);
    explicit ZumraSettingsClient(const RemoteOptions& options);
    /// For the library and its tests: a client over a given implementation, never null.
    explicit ZumraSettingsClient(std::unique_ptr<client::IBackend> backend);
    /// Callbacks may still be subscribed; waits for one that is running, and afterwards none is called. With
    /// `kRemote` a callback that is running may use the client for one more second, and its operations throw
    /// "connection lost: ..." after that; so this returns promptly whatever the server does.
    ~ZumraSettingsClient();
    ZumraSettingsClient(const ZumraSettingsClient&) = delete;
    ZumraSettingsClient& operator=(const ZumraSettingsClient&) = delete;

    /// Where a server is when nobody says: `$ZUMRA_SETTINGS_SOCKET`; otherwise where `zumra-settingsd` serves
    /// this user when nobody tells it otherwise, if there is such a file (as root
    /// `/run/zumra/settings.sock`; else `zumra/settings.sock` below `$XDG_RUNTIME_DIR` or, when that is not
    /// set, below `/run/user/<uid>`, or `/tmp/zumra-<uid>/settings.sock` when there is no such folder);
    /// otherwise `/run/zumra/settings.sock`.
    [[nodiscard]] static std::string DefaultSocketPath();

    /// Copies the selected groups into `target`, each in place of any that had its name; other groups of
    /// `target` stay. When this throws, `target` is as it was. The groups are those of one moment.
    void GetSettings(const std::string& groupPattern, core::IniFile& target) const;
    void GetSettings(const std::set<std::string>& groupPatterns, core::IniFile& target) const;
    /// Reads again exactly the groups that `target` holds. One that no longer exists is removed from
    /// `target`; none is added. When this throws, `target` is as it was.
    void RefreshSettings(core::IniFile& target) const;
    /// As above, but reads only those groups of `target` again that are selected; its others stay.
    void RefreshSettings(const std::string& groupPattern, core::IniFile& target) const;
    void RefreshSettings(const std::set<std::string>& groupPatterns, core::IniFile& target) const;
    /// The value's text; empty when the value or its group does not exist. Does not read the rest of its
    /// group, except with `kRemote` from an older server that knows no single values.
    [[nodiscard]] std::string GetValue(const std::string& locator) const;
    /// As `GetValue`, but tells an empty value from one that does not exist.
    [[nodiscard]] std::optional<std::string> FindValue(const std::string& locator) const;

    /// Adds groups and values, replacing equal-named values; removes nothing. An empty group is created too.
    /// With `kRemote`, a document of more than about 32 KiB is sent so that it counts only when it is whole,
    /// and the call returns when it is saved; what makes saving fail is thrown though it was merged.
    void MergeSettings(const core::IniFile& settings);
    /// Sets one value, creating its group if there is none.
    void SetValue(const std::string& locator, const std::string& value);
    /// Removes one value; its group stays. No error when there is none.
    void EraseValue(const std::string& locator);
    /// Removes the selected groups and puts those of `settings` in their place, also those that the pattern
    /// does not select. Subscribers are told of every group that was selected or brought, changed or not.
    void OverwriteSettings(const std::string& groupPattern, const core::IniFile& settings);
    void OverwriteSettings(const std::set<std::string>& groupPatterns, const core::IniFile& settings);
    /// Removes the selected groups.
    void EraseGroups(const std::string& groupPattern);
    void EraseGroups(const std::set<std::string>& groupPatterns);
    /// Puts each selected group that the defaults hold back to exactly its content there, also when it had
    /// been removed. Groups that the defaults do not hold stay as they are.
    void RestoreToDefaults(const std::string& groupPattern);
    void RestoreToDefaults(const std::set<std::string>& groupPatterns);

    /// Merges `newValues` if every value of `oldValues` is in the store with the same text; otherwise changes
    /// nothing. Values that `oldValues` does not name may be anything; a group without values demands
    /// nothing. Returns whether it merged. When it did not and `difference` is not null, says there why.
    bool TestAndMerge(const core::IniFile& oldValues, const core::IniFile& newValues,
                      Difference* difference = nullptr);
    /// The stricter form: merges if the selected groups are exactly those of `expected`, with exactly their
    /// values, so that a group or value that came meanwhile makes it fail too.
    bool TestExactlyAndMerge(const std::set<std::string>& groupPatterns, const core::IniFile& expected,
                             const core::IniFile& newValues, Difference* difference = nullptr);
    /// Does what `OverwriteSettings` does if the selected groups are exactly those of `expected`, with
    /// exactly their values; otherwise changes nothing. So a document that was read, thought about and
    /// changed takes the place of the one that was read, and of nothing else:
    ///
    ///     core::IniFile read;
    ///     client.GetSettings("Camera/*", read);
    ///     core::IniFile changed = read;
    ///     changed.EraseGroup("Camera/2");
    ///     if (!client.TestExactlyAndOverwrite({"Camera/*"}, read, changed)) {
    ///         // somebody changed a camera meanwhile; all is as they left it
    ///     }
    ///
    /// Groups of `settings` that the patterns do not select are put in place untested: select them, too.
    /// Returns whether it overwrote; `difference` is as for `TestAndMerge`.
    bool TestExactlyAndOverwrite(const std::set<std::string>& groupPatterns, const core::IniFile& expected,
                                 const core::IniFile& settings, Difference* difference = nullptr);

    /// From now on calls `callback` for each change of a selected group, whoever makes it: once a change, in
    /// the order of the changes, by one thread at a time, with the changed groups that were asked for, whole,
    /// and nothing else. Subscribing a callback again adds to its groups. `callback` is not owned and must
    /// live until `UnSubscribe` or the client's end. Throws "Subscribe: no callback" for null.
    void Subscribe(IChangeCallback* callback, const std::string& groupPattern);
    void Subscribe(IChangeCallback* callback, const std::set<std::string>& groupPatterns);
    /// After this the callback is called no more, also for changes that were already made, and may be
    /// destroyed. Waits for a call of it that runs on another thread (two callbacks must therefore not
    /// unsubscribe each other); from within the callback itself it does not wait. Unknown callbacks, also
    /// null, are ignored. Never throws: a callback is unsubscribed also when the connection is lost.
    void UnSubscribe(IChangeCallback* callback);
    /// What is called with anything that a callback throws, on the thread that called it; the other callbacks
    /// are called all the same. Without a handler (also: an empty one), one line is written to standard
    /// error.
    void SetCallbackErrorHandler(CallbackErrorHandler handler);

    /// Returns when everything that was applied before is saved; throws what made saving fail. What is saved
    /// is there again after a crash. In the modes other than `kRemote` the store lives and dies with the
    /// client, and there is nothing to save.
    void Flush();
    /// Returns when the server has answered: with a connection, every change that it had applied before is
    /// then known to this client's watchers, and its callbacks will be called. Cheap.
    void Sync();

    /// For the library's own helpers.
    [[nodiscard]] client::IBackend& Backend() const noexcept { return *_backend; }

private:
    std::unique_ptr<client::IBackend> _backend;
};

}  // namespace zumra::settings
