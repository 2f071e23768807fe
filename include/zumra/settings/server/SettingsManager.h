#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::common {
class IChangeListener;
}

namespace zumra::settings::server {

class ISettingsPersister;
class IRestrictedSettingsLoader;
class IIncludeFilter;
struct Identity;

/// What first made a test fail: the group and, when it is about one value, the value's name; what was
/// expected and what there is now. An absent text means that there was to be no such value (or group), or
/// that there is none.
struct Difference {
    std::string group;
    std::optional<std::string> name;
    std::optional<std::string> expected;
    std::optional<std::string> actual;
};

struct TestResult {
    bool merged = false;
    std::optional<Difference> difference;  ///< set when not merged
    std::uint64_t revision = 0;            ///< of the store right after the request
};

/// The settings store.
class ZUMRA_EXPORT SettingsManager {
public:
    SettingsManager();
    explicit SettingsManager(ISettingsPersister* persister, IRestrictedSettingsLoader* restrictions = nullptr,
                             IIncludeFilter* filter = nullptr, bool deferSaves = false);
    ~SettingsManager();
    SettingsManager(const SettingsManager&) = delete;
    SettingsManager& operator=(const SettingsManager&) = delete;

    // `who` is the one on whose behalf an operation runs; null: the program itself, who may do everything.

    /// The groups that match, without copying their values: one consistent state.
    [[nodiscard]] common::GroupMap Read(const common::GroupNameMatcher& groups,
                                        const Identity* who = nullptr) const;
    /// Copies the groups that match into `target`, each whole; other groups of `target` stay.
    void GetSettings(const common::GroupNameMatcher& groups, core::IniFile& target,
                     const Identity* who = nullptr) const;
    /// Absent when there is no such group or value.
    [[nodiscard]] std::optional<std::string> GetValue(std::string_view group, std::string_view name,
                                                      const Identity* who = nullptr) const;

    // Each returns the revision of the store right after it.
    std::uint64_t MergeSettings(const core::IniFile& settings, const Identity* who = nullptr);
    std::uint64_t SetValue(std::string_view group, std::string_view name, std::string value,
                           const Identity* who = nullptr);
    std::uint64_t OverwriteSettings(const common::GroupNameMatcher& groups, const core::IniFile& settings,
                                    const Identity* who = nullptr);
    std::uint64_t EraseGroups(const common::GroupNameMatcher& groups, const Identity* who = nullptr);
    std::uint64_t EraseValue(std::string_view group, std::string_view name, const Identity* who = nullptr);
    std::uint64_t RestoreToDefaults(const common::GroupNameMatcher& groups, const Identity* who = nullptr);

    /// Merges `settings` if every value of `expected` is in the store with the same text.
    TestResult TestAndMerge(const core::IniFile& expected, const core::IniFile& settings,
                            const Identity* who = nullptr);
    /// Merges `settings` if the groups that match are exactly those of `expected`, with exactly their values.
    TestResult TestExactlyAndMerge(const common::GroupNameMatcher& groups, const core::IniFile& expected,
                                   const core::IniFile& settings, const Identity* who = nullptr);

    void Subscribe(IChangeCallback* callback, const std::set<std::string>& namesAndPatterns);
    void UnSubscribe(IChangeCallback* callback);

    /// For the library's own listeners. `current`, when not null, receives the matching groups as of the
    /// moment from which changes are told: nothing is missed between the two and nothing is told twice.
    void Subscribe(common::IChangeListener* listener, const common::GroupNameMatcher& groups,
                   common::GroupMap* current = nullptr);
    void UnSubscribe(common::IChangeListener* listener, const common::GroupNameMatcher& groups);
    void UnSubscribe(common::IChangeListener* listener);

    [[nodiscard]] std::uint64_t Revision() const;
    [[nodiscard]] bool MayRead(std::string_view group, const Identity* who) const;
    [[nodiscard]] bool MayWrite(std::string_view group, const Identity* who) const;

    /// Returns when everything committed before the call is saved; throws what made the save fail.
    void Flush();
    /// Calls `done` once, when everything up to `revision` is saved (null) or saving it failed (the reason):
    /// at once on this thread when that is known already, else later on the thread that saves.
    void WhenSaved(std::uint64_t revision, std::function<void(std::exception_ptr)> done);

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::server
