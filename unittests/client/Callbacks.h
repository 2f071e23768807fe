#pragma once

#include <atomic>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "zumra/osa/Mutex.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/ZumraSettingsClient.h"

/// Callbacks that tests wait for.
namespace zumra::test {

/// Something that happens once.
class Event {
public:
    void Set() {
        osa::MutexLock lock(_mutex);
        _set = true;
        _changed.NotifyAll();
    }
    void Wait() {
        osa::MutexLock lock(_mutex);
        while (!_set) {
            _changed.Wait(_mutex);
        }
    }
    [[nodiscard]] bool IsSet() {
        osa::MutexLock lock(_mutex);
        return _set;
    }

private:
    osa::Mutex _mutex;
    osa::Condition _changed;
    bool _set ZUMRA_GUARDED_BY(_mutex) = false;
};

/// Keeps every call made of it, after doing what it was told to do in it.
class Recorder final : public settings::IChangeCallback {
public:
    struct Call {
        std::set<std::string> changed;
        core::IniFile data;
    };
    using Action = std::function<void(const Call&)>;

    explicit Recorder(Action action = {}) : _action(std::move(action)) {}

    void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) override {
        const Call call{changedGroups, data};
        if (_action) {
            _action(call);
        }
        osa::MutexLock lock(_mutex);
        _calls.push_back(call);
        _changed.NotifyAll();
    }

    void WaitForCalls(std::size_t count) {
        osa::MutexLock lock(_mutex);
        while (_calls.size() < count) {
            _changed.Wait(_mutex);
        }
    }
    [[nodiscard]] std::vector<Call> Calls() {
        osa::MutexLock lock(_mutex);
        return _calls;
    }
    [[nodiscard]] std::size_t Count() { return Calls().size(); }

private:
    const Action _action;
    osa::Mutex _mutex;
    osa::Condition _changed;
    std::vector<Call> _calls ZUMRA_GUARDED_BY(_mutex);
};

/// Returns when every callback has run that was due before. Changes a group of its own, "drain".
inline void Drain(settings::ZumraSettingsClient& client) {
    static std::atomic<unsigned> count{0};
    Recorder last;
    client.Subscribe(&last, "drain");
    client.SetValue("[drain]x", std::to_string(++count));
    last.WaitForCalls(1);
    client.UnSubscribe(&last);
}

constexpr settings::ZumraSettingsClient::OperationMode kModes[] = {
    settings::ZumraSettingsClient::kLocal,
    settings::ZumraSettingsClient::kLocalSingleThreadedPipe,
    settings::ZumraSettingsClient::kLocalMultiThreadedPipe,
};

inline std::string ModeName(settings::ZumraSettingsClient::OperationMode mode) {
    switch (mode) {
        case settings::ZumraSettingsClient::kLocal:
            return "Local";
        case settings::ZumraSettingsClient::kLocalSingleThreadedPipe:
            return "SingleThreadedPipe";
        case settings::ZumraSettingsClient::kLocalMultiThreadedPipe:
            return "MultiThreadedPipe";
        case settings::ZumraSettingsClient::kRemote:
            return "Remote";
    }
    return "unknown";
}

}  // namespace zumra::test
