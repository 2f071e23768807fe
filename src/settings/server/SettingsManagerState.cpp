#include "settings/server/SettingsManagerState.h"

#include <exception>
#include <utility>

#include "zumra/settings/server/IIncludeFilter.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/SettingsCombiner.h"

namespace zumra::settings::server {

/// Lets one thread load at a time: the sources and their filter are not for several, and what was loaded
/// later must not be replaced by what was loaded before.
class SettingsManager::State::LoadingTurn {
public:
    explicit LoadingTurn(State& state) : _state(state) {
        osa::MutexLock lock(_state.mutex);
        while (_state.loading) {
            _state.loaded.Wait(_state.mutex);
        }
        _state.loading = true;
    }
    ~LoadingTurn() {
        osa::MutexLock lock(_state.mutex);
        _state.loading = false;
        _state.loaded.NotifyOne();
    }
    LoadingTurn(const LoadingTurn&) = delete;
    LoadingTurn& operator=(const LoadingTurn&) = delete;

private:
    State& _state;
};

void SettingsManager::State::Load(const SaveOptions& options) {
    osa::MutexLock lock(mutex);  // only so that it is seen to be held: nobody else knows the store yet
    policy = LoadPolicy();
    if (persister == nullptr) {
        return;
    }
    GroupMap defaults = ToGroups(LoadDefaults());
    SettingsCombiner saved(filter);
    persister->LoadSettings(saved);
    core::IniFile settings = saved.Take();
    SavedDocument document(*persister, settings);
    store = Store(std::move(defaults), SavedDocument::Parse(std::move(settings)));
    saver = std::make_unique<Saver>(*this, std::move(document), options);
}

core::IniFile SettingsManager::State::LoadDefaults() {
    SettingsCombiner combiner(filter);
    persister->LoadDefaults(combiner);
    return combiner.Take();
}

std::shared_ptr<const AccessPolicy> SettingsManager::State::LoadPolicy() {
    return std::make_shared<AccessPolicy>(restrictions == nullptr ? RestrictedGroups()
                                                                  : restrictions->LoadRestrictedGroups());
}

SettingsManager::State::Step SettingsManager::State::TakeReload() {
    const LoadingTurn turn(*this);
    std::shared_ptr<const AccessPolicy> newPolicy = LoadPolicy();
    GroupMap defaults;
    if (persister != nullptr) {
        if (filter != nullptr) {
            filter->Reset();
        }
        defaults = ToGroups(LoadDefaults());
    }
    Step step;
    osa::MutexLock lock(mutex);
    if (persister != nullptr) {
        step.edition = PlanNewDefaults(store, defaults);
    }
    Take(step);
    policy.swap(newPolicy);
    return step;
}

std::uint64_t SettingsManager::State::Reload() {
    Step step = TakeReload();
    if (step.committed) {
        Finish(step, Saving::kAsSet);
    }
    return step.revision;
}

void SettingsManager::State::Take(Step& step) {
    step.revision = store.Revision();
    Edition& edition = step.edition;
    if (edition.empty()) {
        return;
    }
    const std::shared_ptr<common::Change> change = DraftChange(edition);
    if (change != nullptr) {
        step.deliveries = router.Prepare(change);
    }
    if (saver != nullptr) {
        edition.ForEachName([&edition](const std::string& name) { edition.unsaved.insert(name); });
    }
    // From here on nothing can fail.
    store.Apply(edition);
    step.committed = true;
    step.revision = store.Revision();
    if (saver != nullptr) {
        unsaved.merge(edition.unsaved);
    }
    if (change != nullptr) {
        change->revision = step.revision;
        for (auto& [name, group] : change->groups) {
            group = store.FindGroup(name);
        }
        common::ChangeRouter::Post(step.deliveries);
    }
}

std::shared_ptr<common::Change> SettingsManager::State::DraftChange(const Edition& edition) const {
    std::shared_ptr<common::Change> change;
    if (!router.HasListeners()) {
        return change;
    }
    edition.ForEachName([&](const std::string& name) {
        if (router.Concerns(name)) {
            if (change == nullptr) {
                change = std::make_shared<common::Change>();
            }
            change->groups.emplace(name, SharedGroup());
        }
    });
    return change;
}

bool SettingsManager::State::SetInPlace(std::string_view group, std::string_view name, std::string& value) {
    const auto at = store.Groups().find(group);
    if (at == store.Groups().end() || !at->second.Unshared() || router.Concerns(group)) {
        return false;
    }
    SharedGroup::Group& values = at->second.Edit();
    const auto slot = values.find(name);
    if (slot == values.end() || slot->second == value) {
        return false;
    }
    if (saver != nullptr) {
        unsaved.insert(at->first);
    }
    store.Exchange(slot->second, value);
    return true;
}

void SettingsManager::State::Finish(Step& step, Saving saving) {
    if (saver != nullptr) {
        saver->Committed(step.revision);
    }
    std::exception_ptr failure;
    try {
        common::ChangeRouter::Deliver(step.deliveries);
    } catch (...) {
        failure = std::current_exception();
    }
    step.deliveries.clear();
    step.edition = Edition();
    const bool wait =
        saving == Saving::kAlways || (saving == Saving::kAsSet && saver != nullptr && !saver->Deferred());
    if (saver != nullptr && wait) {
        saver->Save(step.revision);
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void SettingsManager::State::TakeUnsaved(UnsavedGroups& taken) {
    osa::MutexLock lock(mutex);
    taken.revision = store.Revision();
    taken.names.swap(unsaved);
    taken.items.reserve(taken.names.size());
    for (const std::string& name : taken.names) {
        taken.items.push_back({store.FindGroup(name), store.FindDefault(name), store.FindKept(name)});
    }
}

void SettingsManager::State::PutBack(UnsavedGroups& taken) noexcept {
    osa::MutexLock lock(mutex);
    unsaved.merge(taken.names);
}

}  // namespace zumra::settings::server
