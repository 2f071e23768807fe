#include "settings/server/CallbackTable.h"

#include <set>
#include <string>

namespace zumra::settings::server {

class CallbackTable::Listener : public common::IChangeListener {
public:
    explicit Listener(IChangeCallback* callback) : _callback(callback) {}

    /// The subscriber may unsubscribe itself, which ends this listener: nothing of it is touched after the
    /// call.
    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override {
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
        _router.Add(at->second.get(), groups);
        return;
    }
    const auto added = _listeners.emplace(callback, std::make_shared<Listener>(callback)).first;
    try {
        _router.Add(added->second.get(), groups);
    } catch (...) {
        _listeners.erase(added);
        throw;
    }
}

void CallbackTable::UnSubscribe(IChangeCallback* callback) {
    std::shared_ptr<Listener> listener;
    {
        osa::MutexLock lock(_mutex);
        const auto at = _listeners.find(callback);
        if (at == _listeners.end()) {
            return;
        }
        listener = at->second;
        _listeners.erase(at);
    }
    _router.Remove(listener.get());
}

}  // namespace zumra::settings::server
