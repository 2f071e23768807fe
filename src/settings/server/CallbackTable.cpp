#include "settings/server/CallbackTable.h"

#include <set>
#include <string>
#include <utility>

namespace zumra::settings::server {

class CallbackTable::Listener final : public common::IChangeListener,
                                      public std::enable_shared_from_this<Listener> {
public:
    explicit Listener(IChangeCallback* callback) : _callback(callback) {}

    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override {
        // The subscriber may unsubscribe itself; this listener must survive its call.
        const auto self = shared_from_this();
        std::set<std::string> names;
        core::IniFile data;
        for (const std::string* name : covered) {
            names.insert(names.end(), *name);
            const common::SharedGroup& group = change->groups.find(*name)->second;
            if (group) {
                data.SetGroup(*name, *group);
            }
        }
        _callback->SettingsChanged(names, data);
    }

private:
    IChangeCallback* const _callback;
};

void CallbackTable::Subscribe(IChangeCallback* callback, const common::GroupNameMatcher& groups) {
    osa::MutexLock lock(_mutex);
    const auto at = _listeners.find(callback);
    if (at != _listeners.end()) {
        _router.Add(at->second.listener.get(), groups);
        return;
    }
    std::shared_ptr<common::IChangeListener> listener = _leaving.Find(callback);
    if (listener == nullptr) {
        listener = std::make_shared<Listener>(callback);
    }
    const auto added = _listeners.try_emplace(callback).first;
    try {
        added->second = {listener, common::LeavingListeners::MakePlace(callback)};
        _router.Add(listener.get(), groups);
    } catch (...) {
        _listeners.erase(added);
        throw;
    }
}

void CallbackTable::UnSubscribe(IChangeCallback* callback) {
    std::shared_ptr<common::IChangeListener> listener;
    {
        osa::MutexLock lock(_mutex);
        const auto at = _listeners.find(callback);
        if (at == _listeners.end()) {
            listener = _leaving.Find(callback);
        } else {
            listener = at->second.listener;
            _leaving.Add(std::move(at->second.place), listener);
            _router.Drop(listener.get());
            _listeners.erase(at);
        }
    }
    if (listener != nullptr) {
        _router.AwaitReturn(listener.get());
    }
}

}  // namespace zumra::settings::server
