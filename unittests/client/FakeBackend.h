#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "settings/client/IBackend.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// A store in the test itself, behind the interface that the client's helpers use. Tells followers at once,
/// under its lock; subscribers are not supported. Every operation can be made to fail or to be overtaken.
class FakeBackend final : public IBackend {
public:
    /// Called at the start of every operation, under no lock, with the operation's name. May throw, and may
    /// change the store.
    std::function<void(const std::string& operation)> onCall;

    [[nodiscard]] core::IniFile Store() const {
        osa::MutexLock lock(_mutex);
        return _store;
    }
    [[nodiscard]] std::size_t FollowerCount() const {
        osa::MutexLock lock(_mutex);
        return _followers.size();
    }
    /// Calls `OnSnapshot` of all followers again, as after a lost connection; `meanwhile` was not told.
    void Reconnect(const core::IniFile& meanwhile) {
        osa::MutexLock lock(_mutex);
        _store = meanwhile;
        for (const auto& [follower, groups] : _followers) {
            follower->OnSnapshot(Matching(groups), groups);
        }
    }

    void Get(const Matcher& groups, core::IniFile& target) override {
        Call("Get");
        osa::MutexLock lock(_mutex);
        for (const auto& [name, group] : Matching(groups)) {
            target.SetGroup(name, *group);
        }
    }
    std::optional<std::string> GetValue(const common::SettingLocator& locator) override {
        Call("GetValue");
        osa::MutexLock lock(_mutex);
        const std::string* value = _store.FindValue(locator.group, locator.name);
        return value == nullptr ? std::nullopt : std::optional(*value);
    }

    void Merge(const core::IniFile& settings) override {
        Call("Merge");
        Commit([&](core::IniFile& store) { store.MergeSettings(settings); });
    }
    void SetValue(const common::SettingLocator& locator, const std::string& value) override {
        Call("SetValue");
        Commit([&](core::IniFile& store) { store[locator.group][locator.name] = value; });
    }
    void EraseValue(const common::SettingLocator& locator) override {
        Call("EraseValue");
        Commit([&](core::IniFile& store) { store.EraseValue(locator.group, locator.name); });
    }
    void Overwrite(const Matcher& groups, const core::IniFile& settings) override {
        Call("Overwrite");
        Commit([&](core::IniFile& store) {
            EraseMatching(store, groups);
            store.MergeSettings(settings);
        });
    }
    void Erase(const Matcher& groups) override { Overwrite(groups, {}); }
    void Restore(const Matcher& groups) override { Overwrite(groups, {}); }

    bool TestAndMerge(const core::IniFile& expected, const core::IniFile& settings, Difference*) override {
        Call("TestAndMerge");
        return CommitIf(
            [&] {
                core::IniFile merged = _store;
                merged.MergeSettings(expected);
                return merged == _store;
            },
            settings);
    }
    bool TestExactlyAndMerge(const Matcher& groups, const core::IniFile& expected,
                             const core::IniFile& settings, Difference*) override {
        Call("TestExactlyAndMerge");
        return CommitIf([&] { return Document(groups) == expected; }, settings);
    }

    bool TestExactlyAndOverwrite(const Matcher& groups, const core::IniFile& expected,
                                 const core::IniFile& settings, Difference*) override {
        Call("TestExactlyAndOverwrite");
        osa::MutexLock lock(_mutex);
        if (Document(groups) != expected) {
            return false;
        }
        Replace([&](core::IniFile& store) {
            EraseMatching(store, groups);
            store.MergeSettings(settings);
        });
        return true;
    }

    void Subscribe(IChangeCallback*, const Matcher&) override {}
    void UnSubscribe(IChangeCallback*) override {}
    void SetCallbackErrorHandler(ZumraSettingsClient::CallbackErrorHandler) override {}

    void Follow(IFollower* follower, const Matcher& groups) override {
        Call("Follow");
        osa::MutexLock lock(_mutex);
        Matcher& followed = _followers[follower];
        followed.Add(groups);
        follower->OnSnapshot(Matching(followed), followed);
    }
    void Unfollow(IFollower* follower) override {
        osa::MutexLock lock(_mutex);
        _followers.erase(follower);
    }

    void Sync() override { Call("Sync"); }
    void Flush() override { Call("Flush"); }

private:
    void Call(const std::string& operation) const {
        if (onCall) {
            onCall(operation);
        }
    }

    common::GroupMap Matching(const Matcher& groups) const {
        std::set<std::string> names;
        groups.GetMatchingGroups(_store, names);
        common::GroupMap found;
        for (const std::string& name : names) {
            found.emplace(name, common::SharedGroup(*_store.FindGroup(name)));
        }
        return found;
    }

    core::IniFile Document(const Matcher& groups) const {
        core::IniFile document;
        for (const auto& [name, group] : Matching(groups)) {
            document.SetGroup(name, *group);
        }
        return document;
    }

    static void EraseMatching(core::IniFile& store, const Matcher& groups) {
        std::set<std::string> names;
        groups.GetMatchingGroups(store, names);
        for (const std::string& name : names) {
            store.EraseGroup(name);
        }
    }

    template <class Test>
    bool CommitIf(Test test, const core::IniFile& settings) {
        osa::MutexLock lock(_mutex);
        if (!test()) {
            return false;
        }
        Replace([&](core::IniFile& store) { store.MergeSettings(settings); });
        return true;
    }

    template <class Edit>
    void Commit(Edit edit) {
        osa::MutexLock lock(_mutex);
        Replace(edit);
    }

    template <class Edit>
    void Replace(Edit edit) {
        core::IniFile after = _store;
        edit(after);
        auto change = std::make_shared<common::Change>();
        change->revision = ++_revision;
        AddDifferences(_store, after, change->groups);
        AddDifferences(after, _store, change->groups);
        for (auto& [name, group] : change->groups) {
            const auto* values = after.FindGroup(name);
            group = values == nullptr ? common::SharedGroup() : common::SharedGroup(*values);
        }
        _store = std::move(after);
        Tell(change);
    }

    static void AddDifferences(const core::IniFile& from, const core::IniFile& to, common::GroupMap& names) {
        for (const auto& [name, values] : from) {
            const auto* other = to.FindGroup(name);
            if (other == nullptr || *other != values) {
                names[name];
            }
        }
    }

    void Tell(const std::shared_ptr<const common::Change>& change) {
        for (const auto& [follower, groups] : _followers) {
            common::CoveredNames covered;
            for (const auto& [name, group] : change->groups) {
                if (groups.Matches(name)) {
                    covered.push_back(&name);
                }
            }
            if (!covered.empty()) {
                follower->OnChange(change, covered);
            }
        }
    }

    mutable osa::Mutex _mutex;
    core::IniFile _store;
    std::uint64_t _revision = 0;
    std::map<IFollower*, Matcher> _followers;
};

}  // namespace zumra::settings::client
