#include "zumra/settings/SettingsWatcher.h"

#include <optional>

#include "settings/client/ChangeQueue.h"
#include "settings/client/Require.h"
#include "settings/client/ValueText.h"

namespace zumra::settings {

using client::Arrivals;
using common::GroupNameMatcher;
using common::SettingLocator;

namespace {

struct Binding {
    SettingLocator setting;
    std::function<void(const std::string* text)> write;
    bool isNew = true;
    std::optional<std::string> text{};

    /// Remembers the text; true when it is not the one remembered before.
    bool Remember(const std::string* now) {
        const bool same = now == nullptr ? !text : text == *now;
        if (same && !isNew) {
            return false;
        }
        isNew = false;
        text = now == nullptr ? std::nullopt : std::optional(*now);
        return true;
    }
};

/// Assigns what `parse` makes of the text, or the default.
template <class Value, class Parse>
auto Assign(Value* target, Value defaultValue, Parse parse) {
    return [target, defaultValue, parse](const std::string* text) {
        *target = text == nullptr ? defaultValue : parse(*text).value_or(defaultValue);
    };
}

}  // namespace

struct SettingsWatcher::State {
    explicit State(client::IBackend& asked) : backend(asked), queue(asked) {}

    bool Update(bool mayWait, const ChangeHandler* handler) ZUMRA_EXCLUDES(mutex);
    void Ask(bool mayWait);
    bool Apply(bool writeAlways, ChangedSettings& changed) ZUMRA_EXCLUDES(mutex);
    bool Use(bool writeAlways, ChangedSettings& changed) ZUMRA_REQUIRES(mutex);
    void Know(Arrivals news) ZUMRA_REQUIRES(mutex);
    void Put(const Arrivals& news) ZUMRA_REQUIRES(mutex);
    bool FindChanged(ChangedSettings& changed) ZUMRA_REQUIRES(mutex);
    const std::string* TextOf(const SettingLocator& setting) const ZUMRA_REQUIRES(mutex);

    client::IBackend& backend;
    client::ChangeQueue queue;
    osa::Mutex mutex{"SettingsWatcher"};
    common::GroupMap known ZUMRA_GUARDED_BY(mutex);
    std::vector<Binding> bindings ZUMRA_GUARDED_BY(mutex);
    bool updated ZUMRA_GUARDED_BY(mutex) = false;
};

bool SettingsWatcher::State::Update(bool mayWait, const ChangeHandler* handler) {
    Ask(mayWait);
    ChangedSettings changed;
    if (!Apply(mayWait, changed)) {
        return false;
    }
    if (handler != nullptr && *handler) {
        (*handler)(changed);
    }
    return true;
}

void SettingsWatcher::State::Ask(bool mayWait) {
    if (!queue.Started() || (mayWait && !queue.FollowsAllWanted())) {
        queue.FollowWanted();
    } else if (mayWait) {
        backend.Sync();
    }
}

bool SettingsWatcher::State::Apply(bool writeAlways, ChangedSettings& changed) {
    osa::MutexLock lock(mutex);
    try {
        Know(queue.Take());
        return Use(writeAlways, changed);
    } catch (...) {
        // What was found to be changed was not told: it is found again.
        for (Binding& binding : bindings) {
            binding.isNew = true;
        }
        queue.Mark();
        throw;
    }
}

bool SettingsWatcher::State::Use(bool writeAlways, ChangedSettings& changed) {
    const bool any = FindChanged(changed) || !updated;
    updated = true;
    if (any || writeAlways) {
        for (const Binding& binding : bindings) {
            binding.write(TextOf(binding.setting));
        }
    }
    return any;
}

void SettingsWatcher::State::Know(Arrivals news) {
    if (news.whole) {
        known.swap(news.groups);
        return;
    }
    try {
        Put(news);
    } catch (...) {
        queue.PutBack(std::move(news));
        throw;
    }
}

void SettingsWatcher::State::Put(const Arrivals& news) {
    for (const auto& [name, group] : news.groups) {
        if (group) {
            known[name] = group;
        } else {
            known.erase(name);
        }
    }
}

bool SettingsWatcher::State::FindChanged(ChangedSettings& changed) {
    for (Binding& binding : bindings) {
        if (binding.Remember(TextOf(binding.setting))) {
            changed.push_back(binding.setting);
        }
    }
    return !changed.empty();
}

const std::string* SettingsWatcher::State::TextOf(const SettingLocator& setting) const {
    const auto group = known.find(setting.group);
    if (group == known.end()) {
        return nullptr;
    }
    const auto value = group->second->find(setting.name);
    return value == group->second->end() ? nullptr : &value->second;
}

SettingsWatcher::SettingsWatcher(ZumraSettingsClient* client)
    : _state(std::make_unique<State>(client::RequireBackend(client, "SettingsWatcher"))) {}

SettingsWatcher::~SettingsWatcher() = default;

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, int* target,
                                 int defaultValue) {
    AddText(group, name, target, Assign(target, defaultValue, client::ParseInteger<int>));
}

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, unsigned* target,
                                 unsigned defaultValue) {
    AddText(group, name, target, Assign(target, defaultValue, client::ParseInteger<unsigned>));
}

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, std::int64_t* target,
                                 std::int64_t defaultValue) {
    AddText(group, name, target, Assign(target, defaultValue, client::ParseInteger<std::int64_t>));
}

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, std::uint64_t* target,
                                 std::uint64_t defaultValue) {
    AddText(group, name, target, Assign(target, defaultValue, client::ParseInteger<std::uint64_t>));
}

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, double* target,
                                 double defaultValue) {
    AddText(group, name, target, Assign(target, defaultValue, client::ParseDouble));
}

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, bool* target,
                                 bool defaultValue) {
    AddText(group, name, target, Assign(target, defaultValue, client::ParseBool));
}

void SettingsWatcher::AddSetting(const std::string& group, const std::string& name, std::string* target,
                                 const std::string& defaultValue) {
    AddText(group, name, target,
            [target, defaultValue](const std::string* text) { *target = text ? *text : defaultValue; });
}

void SettingsWatcher::AddText(const std::string& group, const std::string& name, const void* target,
                              std::function<void(const std::string* text)> write) {
    const SettingLocator setting{group, name};
    client::RequireNotNull(target, "SettingsWatcher", "variable for " + setting.ToString());
    GroupNameMatcher groupOnly;
    groupOnly.AddName(group);
    // Followed before it is bound: an update on another thread never takes it for missing.
    _state->queue.Want(groupOnly);
    {
        osa::MutexLock lock(_state->mutex);
        _state->bindings.push_back(Binding{setting, std::move(write)});
    }
    _state->queue.Mark();
}

bool SettingsWatcher::UpdateSettings() {
    return _state->Update(true, nullptr);
}

bool SettingsWatcher::TryUpdateSettings() {
    return _state->Update(false, nullptr);
}

bool SettingsWatcher::UpdateSettings(const ChangeHandler& handler) {
    return _state->Update(true, &handler);
}

bool SettingsWatcher::TryUpdateSettings(const ChangeHandler& handler) {
    return _state->Update(false, &handler);
}

bool SettingsWatcher::WaitForChange(std::chrono::milliseconds timeout) {
    return _state->queue.Wait(timeout);
}

int SettingsWatcher::FileDescriptor() const {
    return _state->queue.FileDescriptor();
}

}  // namespace zumra::settings
