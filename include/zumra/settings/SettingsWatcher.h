#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "zumra/Export.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// Binds settings to variables of a program: each update copies the stored values, parsed to the variables'
/// types, into them.
///
///     int port = 0;
///     bool verbose = false;
///     Mode mode = Mode::kDay;
///     SettingsWatcher watcher(&client);
///     watcher.AddSetting("Server", "Port", &port, 8080);
///     watcher.AddSetting("Server", "Verbose", &verbose);
///     watcher.AddSetting("Camera", "Mode", &mode, {{"day", Mode::kDay}, {"dark", Mode::kDark}}, Mode::kDay);
///     watcher.UpdateSettings();
///     while (running) {
///         if (watcher.WaitForChange(std::chrono::seconds(1)) && watcher.UpdateSettings()) {
///             Reconfigure();
///         }
///     }
///
/// In an event loop of one's own, wait until `FileDescriptor()` is readable and call `TryUpdateSettings`.
/// Nothing needs to be polled.
///
/// How texts are read. The whole text must be of the form; everything else, and a setting that does not
/// exist, gives the default:
///
/// | target                 | accepted                                                                 |
/// |------------------------|--------------------------------------------------------------------------|
/// | `int`, `int64_t`       | an optional "-" or "+", then decimal digits, in range ("007" is 7)       |
/// | `unsigned`, `uint64_t` | an optional "+", then decimal digits, in range                           |
/// | `double`               | an optional "-" or "+", then a decimal number in range, with or without  |
/// |                        | fraction and exponent ("1.5", ".5", "2.", "1e-3"), with "." as the point |
/// |                        | whatever the locale                                                      |
/// | `bool`                 | "true" and "false"                                                       |
/// | `std::string`          | every text as it stands; the empty text is a text, not the default       |
/// | enumeration            | the names of its table                                                   |
///
/// So blanks (also leading and trailing ones), hexadecimal forms, trailing text, "inf", "nan", "True", a
/// number out of range (for a `double` also one too near to 0) and the empty text give the default.
///
/// The variables are written inside `UpdateSettings` and `TryUpdateSettings` only, on the thread that calls
/// them.
///
/// Thread-safety: every operation may be called from any thread, also while changes are made on others;
/// updates on two threads run one after the other. The variables have no lock: read them on the thread that
/// updates. A callback of the same client may use the watcher too.
///
/// Lifetime: the client and the variables are not owned. All must outlive the watcher.
class ZUMRA_EXPORT SettingsWatcher {
public:
    /// In the order in which the settings were added; one that was added twice is listed twice.
    using ChangedSettings = std::vector<common::SettingLocator>;
    using ChangeHandler = std::function<void(const ChangedSettings& changed)>;

    /// Reads nothing yet. Throws `zumra::osa::Exception` when `client` is null or when the system has no file
    /// descriptor left.
    explicit SettingsWatcher(ZumraSettingsClient* client);
    /// Stops watching; the variables keep their values. May wait for a change that is arriving at that
    /// moment, but never for a program's callback.
    ~SettingsWatcher();
    SettingsWatcher(const SettingsWatcher&) = delete;
    SettingsWatcher& operator=(const SettingsWatcher&) = delete;

    /// Binds a setting to a variable, which gets `defaultValue` whenever the setting is missing or its text
    /// is not of the accepted form. Does not write to the variable; the next update does, and returns true.
    ///
    /// Before the first update this asks the client for nothing. Afterwards a setting in a group that is not
    /// watched yet makes it ask the server and wait for the answer, so add what is known beforehand first.
    ///
    /// Throws `zumra::osa::Exception` when `target` is null or the server cannot be asked; the setting is not
    /// added then.
    void AddSetting(const std::string& group, const std::string& name, int* target, int defaultValue = 0);
    void AddSetting(const std::string& group, const std::string& name, unsigned* target,
                    unsigned defaultValue = 0);
    void AddSetting(const std::string& group, const std::string& name, std::int64_t* target,
                    std::int64_t defaultValue = 0);
    void AddSetting(const std::string& group, const std::string& name, std::uint64_t* target,
                    std::uint64_t defaultValue = 0);
    void AddSetting(const std::string& group, const std::string& name, double* target,
                    double defaultValue = 0);
    void AddSetting(const std::string& group, const std::string& name, bool* target,
                    bool defaultValue = false);
    void AddSetting(const std::string& group, const std::string& name, std::string* target,
                    const std::string& defaultValue = std::string());

    /// The same for an enumeration: `names` says which text stands for which value.
    template <class Enum, class = std::enable_if_t<std::is_enum_v<Enum>>>
    void AddSetting(const std::string& group, const std::string& name, Enum* target,
                    std::map<std::string, Enum> names, Enum defaultValue) {
        AddText(group, name, target,
                [target, names = std::move(names), defaultValue](const std::string* text) {
                    const auto found = text == nullptr ? names.end() : names.find(*text);
                    *target = found == names.end() ? defaultValue : found->second;
                });
    }

    /// Copies every bound setting into its variable. Returns true when a bound setting changed since the
    /// previous update, and always the first time: it changed when its text is not the one of then (or there
    /// was none, or there is none now). Another setting of the same group, a rewrite with the same text, or
    /// changes that cancelled each other out do not count; a text that reads as the same value as before
    /// ("1" and "01", or two unreadable ones) does.
    ///
    /// Waits until everything that the client did before, on whichever thread, is applied; what other
    /// clients of the same server had done by then is applied too.
    ///
    /// Throws `zumra::osa::Exception` when the server cannot be asked; no variable is written then, and a
    /// later update makes up for it.
    ///
    /// Cost: grows with the bound settings; only what changed is fetched.
    bool UpdateSettings();

    /// As `UpdateSettings`, but waits for nothing: looks at what has arrived. Changes that this client made
    /// have arrived by the time the call that made them returns. False also means that no variable was
    /// written. Only when there was no update at all before it does it ask the server, once, as
    /// `UpdateSettings` does. Where a change found no memory when it arrived, only an `UpdateSettings`
    /// makes up for it.
    bool TryUpdateSettings();

    /// The same, and calls `handler` once with the changed settings, after every variable is written, when
    /// the update returns true; the first time it is told of every bound setting. What it throws comes out of
    /// the update. It may use the watcher and the client.
    bool UpdateSettings(const ChangeHandler& handler);
    bool TryUpdateSettings(const ChangeHandler& handler);

    /// Blocks until there may be something for an update, or until `timeout` of monotonic time has passed;
    /// true when there may be. A change in a group of a bound setting ends the wait, also one after which an
    /// update returns false. Before the first update: true at once. A timeout of zero or below only looks.
    /// Times over 20 days are cut to that.
    bool WaitForChange(std::chrono::milliseconds timeout);

    /// A descriptor that is readable (for `poll`, `epoll` and the like) as long as `WaitForChange` would
    /// return true at once. Owned by the watcher: do not read from it or close it.
    [[nodiscard]] int FileDescriptor() const;

private:
    struct State;

    /// `write` is given the setting's text, or null when there is none.
    void AddText(const std::string& group, const std::string& name, const void* target,
                 std::function<void(const std::string* text)> write);

    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings
