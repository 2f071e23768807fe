#include "zumra/settings/server/SettingsManager.h"

#include <algorithm>
#include <utility>

#include "settings/server/Comparison.h"
#include "settings/server/SettingsManagerState.h"
#include "zumra/settings/server/IIncludeFilter.h"

namespace zumra::settings::server {

namespace {

/// Up to this many bytes a value is copied under the lock, which costs less than holding its group.
constexpr std::size_t kSmallValue = 1024;

void CollectMatching(const GroupMap& all, const common::GroupNameMatcher& groups, const Access& access,
                     GroupMap& found) {
    groups.ForEachMatch(all, [&](GroupMap::const_iterator at) {
        if (access.MayRead(at->first)) {
            found.emplace_hint(found.end(), *at);
        }
    });
}

SaveOptions OnlyDeferred(bool deferSaves) {
    SaveOptions options;
    options.deferred = deferSaves;
    return options;
}

}  // namespace

SettingsManager::SettingsManager() : _state(std::make_unique<State>()) {}

SettingsManager::SettingsManager(const core::IniFile& defaults) : SettingsManager() {
    Store store(ToGroups(defaults), {});
    osa::MutexLock lock(_state->mutex);
    _state->store = std::move(store);
}

SettingsManager::SettingsManager(ISettingsPersister* persister, IRestrictedSettingsLoader* restrictions,
                                 IIncludeFilter* filter, bool deferSaves)
    : SettingsManager(persister, restrictions, filter, OnlyDeferred(deferSaves)) {}

SettingsManager::SettingsManager(ISettingsPersister* persister, IRestrictedSettingsLoader* restrictions,
                                 IIncludeFilter* filter, const SaveOptions& options)
    : SettingsManager() {
    _state->persister = persister;
    _state->restrictions = restrictions;
    _state->filter = filter;
    _state->Load(options);
}

SettingsManager::~SettingsManager() {
    _state->saver.reset();  // while everything that it saves from is still there
}

common::GroupMap SettingsManager::Read(const common::GroupNameMatcher& groups, const Identity* who,
                                       std::uint64_t* revision) const {
    GroupMap found;
    osa::MutexLock lock(_state->mutex);
    CollectMatching(_state->store.Groups(), groups, Access(*_state->policy, who), found);
    if (revision != nullptr) {
        *revision = _state->store.Revision();
    }
    return found;
}

common::GroupMap SettingsManager::Read(const std::vector<common::SettingLocator>& values, const Identity* who,
                                       std::uint64_t* revision) const {
    GroupMap found;
    osa::MutexLock lock(_state->mutex);
    const GroupMap& all = _state->store.Groups();
    const Access access(*_state->policy, who);
    for (const common::SettingLocator& value : values) {
        const auto at = all.find(value.group);
        if (at != all.end() && access.MayRead(at->first)) {
            found.insert(*at);
        }
    }
    if (revision != nullptr) {
        *revision = _state->store.Revision();
    }
    return found;
}

common::GroupMap SettingsManager::ReadDefaults(const common::GroupNameMatcher& groups,
                                               const Identity* who) const {
    GroupMap found;
    osa::MutexLock lock(_state->mutex);
    CollectMatching(_state->store.Defaults(), groups, Access(*_state->policy, who), found);
    return found;
}

void SettingsManager::GetSettings(const common::GroupNameMatcher& groups, core::IniFile& target,
                                  const Identity* who) const {
    GroupMap found = Read(groups, who);
    while (!found.empty()) {
        auto group = found.extract(found.begin());
        target.SetGroup(std::move(group.key()), *group.mapped());
    }
}

std::optional<std::string> SettingsManager::GetValue(std::string_view group, std::string_view name,
                                                     const Identity* who) const {
    SharedGroup held;
    {
        osa::MutexLock lock(_state->mutex);
        const std::string* value = _state->store.FindValue(group, name);
        if (value == nullptr || !Access(*_state->policy, who).MayRead(group)) {
            return {};
        }
        if (value->size() <= kSmallValue) {
            return *value;
        }
        held = _state->store.FindGroup(group);
    }
    return held->find(name)->second;
}

std::uint64_t SettingsManager::MergeSettings(core::IniFile settings, const Identity* who) {
    core::IniFile::Groups groups = settings.TakeGroups();
    if (groups.size() == 1 && groups.begin()->second.size() == 1) {
        auto& [group, values] = *groups.begin();
        auto& [name, value] = *values.begin();
        return SetValue(group, name, std::move(value), who);  // the short way
    }
    return _state->Commit(
        who, [&](Store& store, const Access& access) { return PlanMerge(store, groups, access); });
}

std::uint64_t SettingsManager::SetValue(std::string_view group, std::string_view name, std::string value,
                                        const Identity* who) {
    std::uint64_t revision = 0;
    {
        osa::MutexLock lock(_state->mutex);
        Access(*_state->policy, who).RequireWrite(group);
        if (_state->SetInPlace(group, name, value)) {
            revision = _state->store.Revision();
        }
    }
    if (revision != 0) {
        State::Step step;
        step.revision = revision;
        _state->Finish(step, State::Saving::kAsSet);
        return revision;
    }
    return _state->Commit(who, [&](Store& store, const Access& access) {
        return PlanSetValue(store, group, name, value, access);
    });
}

std::uint64_t SettingsManager::OverwriteSettings(const common::GroupNameMatcher& groups,
                                                 core::IniFile settings, const Identity* who) {
    core::IniFile::Groups wanted = settings.TakeGroups();
    return _state->Commit(who, [&](Store& store, const Access& access) {
        return PlanOverwrite(store, groups, wanted, access);
    });
}

std::uint64_t SettingsManager::EraseGroups(const common::GroupNameMatcher& groups, const Identity* who) {
    return _state->Commit(
        who, [&](Store& store, const Access& access) { return PlanErase(store, groups, access); });
}

std::uint64_t SettingsManager::EraseValue(std::string_view group, std::string_view name,
                                          const Identity* who) {
    return _state->Commit(
        who, [&](Store& store, const Access& access) { return PlanEraseValue(store, group, name, access); });
}

std::uint64_t SettingsManager::EraseValues(const std::vector<common::SettingLocator>& values,
                                           const Identity* who) {
    return _state->Commit(
        who, [&](Store& store, const Access& access) { return PlanEraseValues(store, values, access); });
}

std::uint64_t SettingsManager::RestoreToDefaults(const common::GroupNameMatcher& groups,
                                                 const Identity* who) {
    return _state->Commit(
        who, [&](Store& store, const Access& access) { return PlanRestore(store, groups, access); });
}

TestResult SettingsManager::TestAndMerge(const core::IniFile& expected, core::IniFile settings,
                                         const Identity* who, Durability durability) {
    core::IniFile::Groups wanted = settings.TakeGroups();
    return _state->TestAndCommit(
        wanted, who, durability,
        [&](const Store& store, const Access& access) { return FindDifference(store, expected, access); },
        [&](Store& store, const Access& access) { return PlanMerge(store, wanted, access); });
}

TestResult SettingsManager::TestExactlyAndMerge(const common::GroupNameMatcher& groups,
                                                const core::IniFile& expected, core::IniFile settings,
                                                const Identity* who, Durability durability) {
    core::IniFile::Groups wanted = settings.TakeGroups();
    return _state->TestAndCommit(
        wanted, who, durability,
        [&](const Store& store, const Access& access) {
            return FindExactDifference(store, groups, expected, access);
        },
        [&](Store& store, const Access& access) { return PlanMerge(store, wanted, access); });
}

TestResult SettingsManager::TestExactlyAndOverwrite(const common::GroupNameMatcher& groups,
                                                    const core::IniFile& expected, core::IniFile settings,
                                                    const Identity* who, Durability durability) {
    core::IniFile::Groups wanted = settings.TakeGroups();
    return _state->TestAndCommit(
        wanted, who, durability,
        [&](const Store& store, const Access& access) {
            return FindExactDifference(store, groups, expected, access);
        },
        [&](Store& store, const Access& access) { return PlanOverwrite(store, groups, wanted, access); });
}

void SettingsManager::Subscribe(IChangeCallback* callback, const std::set<std::string>& namesAndPatterns) {
    _state->callbacks.Subscribe(callback, common::GroupNameMatcher(namesAndPatterns));
}

void SettingsManager::UnSubscribe(IChangeCallback* callback) {
    _state->callbacks.UnSubscribe(callback);
}

std::uint64_t SettingsManager::Subscribe(common::IChangeListener* listener, common::GroupNameMatcher groups,
                                         common::GroupMap* current) {
    GroupMap found;
    osa::MutexLock lock(_state->mutex);
    if (current != nullptr) {
        CollectMatching(_state->store.Groups(), groups, Access(*_state->policy, nullptr), found);
    }
    _state->router.Add(listener, std::move(groups));
    if (current != nullptr) {
        current->swap(found);
    }
    return _state->store.Revision();
}

void SettingsManager::UnSubscribe(common::IChangeListener* listener, const common::GroupNameMatcher& groups) {
    _state->router.Remove(listener, groups);
}

common::GroupNameMatcher SettingsManager::Subscriptions(const common::IChangeListener* listener) const {
    return _state->router.Groups(listener);
}

common::GroupNameMatcher::Extent SettingsManager::SubscriptionsExtent(
    const common::IChangeListener* listener) const {
    return _state->router.GroupsExtent(listener);
}

common::GroupNameMatcher SettingsManager::NotSubscribed(const common::IChangeListener* listener,
                                                        common::GroupNameMatcher groups) const {
    return _state->router.Lacking(listener, std::move(groups));
}

void SettingsManager::UnSubscribe(common::IChangeListener* listener) {
    _state->router.Remove(listener);
}

void SettingsManager::Drop(common::IChangeListener* listener) {
    _state->router.Drop(listener);
}

void SettingsManager::AwaitReturn(common::IChangeListener* listener) {
    _state->router.AwaitReturn(listener);
}

void SettingsManager::Settle(common::IChangeListener* listener) {
    _state->router.Settle(listener);
}

std::uint64_t SettingsManager::Revision() const {
    osa::MutexLock lock(_state->mutex);
    return _state->store.Revision();
}

StoreStatistics SettingsManager::Statistics() const {
    StoreStatistics statistics;
    statistics.listeners = _state->router.ListenerCount();
    const std::uint64_t saved = _state->saver == nullptr ? 0 : _state->saver->SavedRevision();
    osa::MutexLock lock(_state->mutex);
    statistics.revision = _state->store.Revision();
    statistics.savedRevision = _state->saver == nullptr ? statistics.revision : saved;
    statistics.groups = _state->store.Groups().size();
    return statistics;
}

bool SettingsManager::MayRead(std::string_view group, const Identity* who) const {
    return _state->Policy()->MayRead(group, who);
}

bool SettingsManager::MayWrite(std::string_view group, const Identity* who) const {
    return _state->Policy()->MayWrite(group, who);
}

void SettingsManager::Flush() {
    if (_state->saver != nullptr) {
        _state->saver->Save(Revision());
    }
}

void SettingsManager::WhenSaved(std::uint64_t revision, std::function<void(std::exception_ptr)> done) {
    if (_state->saver != nullptr) {
        _state->saver->WhenSaved(std::min(revision, Revision()), std::move(done));
    } else {
        done(nullptr);
    }
}

std::uint64_t SettingsManager::Reload() {
    return _state->Reload();
}

}  // namespace zumra::settings::server
