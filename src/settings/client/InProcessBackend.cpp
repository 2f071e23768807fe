#include "settings/client/InProcessBackend.h"

#include <atomic>
#include <map>
#include <utility>

#include "settings/client/CallbackListener.h"
#include "settings/client/FollowerRelay.h"
#include "settings/client/InProcessStore.h"
#include "settings/common/LeavingListeners.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::client {

namespace {

using common::SettingLocator;

bool TakeResult(server::TestResult result, ZumraSettingsClient::Difference* difference) {
    if (difference != nullptr && result.difference) {
        server::Difference& from = *result.difference;
        *difference = {std::move(from.group), std::move(from.name), std::move(from.expected),
                       std::move(from.actual)};
    }
    return result.merged;
}

class InProcessBackend final : public IBackend {
public:
    explicit InProcessBackend(std::shared_ptr<InProcessStore> store)
        : _store(std::move(store)), _manager(_store->Manager()) {}
    ~InProcessBackend() override;

    void Get(const Matcher& groups, core::IniFile& target) override { _manager.GetSettings(groups, target); }
    std::optional<std::string> GetValue(const SettingLocator& locator) override {
        return _manager.GetValue(locator.group, locator.name);
    }

    void Merge(const core::IniFile& settings) override {
        _manager.MergeSettings(settings);
        SettleFollowers();
    }
    void SetValue(const SettingLocator& locator, const std::string& value) override {
        _manager.SetValue(locator.group, locator.name, value);
        SettleFollowers();
    }
    void EraseValue(const SettingLocator& locator) override {
        _manager.EraseValue(locator.group, locator.name);
        SettleFollowers();
    }
    void Overwrite(const Matcher& groups, const core::IniFile& settings) override {
        _manager.OverwriteSettings(groups, settings);
        SettleFollowers();
    }
    void Erase(const Matcher& groups) override {
        _manager.EraseGroups(groups);
        SettleFollowers();
    }
    void Restore(const Matcher& groups) override {
        _manager.RestoreToDefaults(groups);
        SettleFollowers();
    }

    bool TestAndMerge(const core::IniFile& expected, const core::IniFile& settings,
                      Difference* difference) override {
        const bool merged = TakeResult(_manager.TestAndMerge(expected, settings), difference);
        SettleFollowers();
        return merged;
    }
    bool TestExactlyAndMerge(const Matcher& groups, const core::IniFile& expected,
                             const core::IniFile& settings, Difference* difference) override {
        const bool merged = TakeResult(_manager.TestExactlyAndMerge(groups, expected, settings), difference);
        SettleFollowers();
        return merged;
    }
    bool TestExactlyAndOverwrite(const Matcher& groups, const core::IniFile& expected,
                                 const core::IniFile& settings, Difference* difference) override {
        const bool overwritten =
            TakeResult(_manager.TestExactlyAndOverwrite(groups, expected, settings), difference);
        SettleFollowers();
        return overwritten;
    }

    void Subscribe(IChangeCallback* callback, const Matcher& groups) override;
    void UnSubscribe(IChangeCallback* callback) override;
    void SetCallbackErrorHandler(ZumraSettingsClient::CallbackErrorHandler handler) override {
        _errors->SetHandler(std::move(handler));
    }

    void Follow(IFollower* follower, const Matcher& groups) override;
    void Unfollow(IFollower* follower) override;

    void Sync() override { SettleFollowers(); }
    void Flush() override { _manager.Flush(); }

private:
    struct Followed {
        std::unique_ptr<FollowerRelay> relay;
        Matcher groups;
    };
    /// Null when there is none.
    IChangeCallback* AnyCallback();
    void StopRelay(Followed& followed) ZUMRA_REQUIRES(_followMutex);
    /// Followers know of a change when the call that made it returns, also when another thread is at that
    /// moment telling them of an earlier one.
    void SettleFollowers() ZUMRA_EXCLUDES(_followMutex);

    const std::shared_ptr<InProcessStore> _store;
    server::SettingsManager& _manager;
    const std::shared_ptr<CallbackErrors> _errors = std::make_shared<CallbackErrors>();

    osa::Mutex _callbackMutex{"local callbacks"};
    std::map<IChangeCallback*, common::SubscribedListener> _callbacks ZUMRA_GUARDED_BY(_callbackMutex);
    common::LeavingListeners _leaving ZUMRA_GUARDED_BY(_callbackMutex);

    /// Held while followers, which are the library's own and quick, are told what there is.
    osa::Mutex _followMutex{"local followers"};
    std::map<IFollower*, Followed> _followers ZUMRA_GUARDED_BY(_followMutex);
    /// Whether there is any, so that a program without watchers pays nothing for them.
    std::atomic<bool> _haveFollowers{false};
};

InProcessBackend::~InProcessBackend() {
    // A callback that another client of the store is calling may use this one until it returns.
    while (IChangeCallback* const callback = AnyCallback()) {
        UnSubscribe(callback);
    }
    osa::MutexLock lock(_followMutex);
    for (auto& [follower, followed] : _followers) {
        StopRelay(followed);
    }
}

IChangeCallback* InProcessBackend::AnyCallback() {
    osa::MutexLock lock(_callbackMutex);
    return _callbacks.empty() ? nullptr : _callbacks.begin()->first;
}

void InProcessBackend::Subscribe(IChangeCallback* callback, const Matcher& groups) {
    // Registering calls nobody, so the lock may be held: a listener in the table is always the store's too.
    osa::MutexLock lock(_callbackMutex);
    const auto found = _callbacks.find(callback);
    if (found != _callbacks.end()) {
        _manager.Subscribe(found->second.listener.get(), groups);
        return;
    }
    std::shared_ptr<common::IChangeListener> listener = _leaving.Find(callback);
    if (listener == nullptr) {
        listener = std::make_shared<CallbackListener>(callback, _errors);
    }
    const auto added = _callbacks.try_emplace(callback).first;
    try {
        added->second = {listener, common::LeavingListeners::MakePlace(callback)};
        _manager.Subscribe(listener.get(), groups);
    } catch (...) {
        _callbacks.erase(added);
        throw;
    }
}

void InProcessBackend::UnSubscribe(IChangeCallback* callback) {
    std::shared_ptr<common::IChangeListener> listener;
    {
        osa::MutexLock lock(_callbackMutex);
        const auto found = _callbacks.find(callback);
        if (found == _callbacks.end()) {
            listener = _leaving.Find(callback);
        } else {
            listener = found->second.listener;
            _leaving.Add(std::move(found->second.place), listener);
            _manager.Drop(listener.get());
            _callbacks.erase(found);
        }
    }
    if (listener != nullptr) {
        _manager.AwaitReturn(listener.get());
    }
}

void InProcessBackend::StopRelay(Followed& followed) {
    if (followed.relay) {
        _manager.UnSubscribe(followed.relay.get());
        followed.relay.reset();
    }
}

void InProcessBackend::SettleFollowers() {
    if (!_haveFollowers) {
        return;
    }
    osa::MutexLock lock(_followMutex);
    for (const auto& [follower, followed] : _followers) {
        if (followed.relay) {
            _manager.Settle(followed.relay.get());
        }
    }
}

void InProcessBackend::Follow(IFollower* follower, const Matcher& groups) {
    osa::MutexLock lock(_followMutex);
    Followed& followed = _followers[follower];
    _haveFollowers = true;
    followed.groups.Add(groups);
    // A new relay each time: what the old one still had to tell is in the new snapshot.
    StopRelay(followed);
    followed.relay = std::make_unique<FollowerRelay>(follower);
    common::GroupMap snapshot;
    try {
        _manager.Subscribe(followed.relay.get(), followed.groups, &snapshot);
        followed.relay->Start(snapshot, followed.groups);
    } catch (...) {
        StopRelay(followed);
        throw;
    }
}

void InProcessBackend::Unfollow(IFollower* follower) {
    osa::MutexLock lock(_followMutex);
    const auto found = _followers.find(follower);
    if (found != _followers.end()) {
        StopRelay(found->second);
        _followers.erase(found);
        _haveFollowers = !_followers.empty();
    }
}

}  // namespace

std::unique_ptr<IBackend> MakeInProcessBackend(std::shared_ptr<InProcessStore> store) {
    return std::make_unique<InProcessBackend>(std::move(store));
}

}  // namespace zumra::settings::client
