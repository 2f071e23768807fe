#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zumra/core/IniFile.h"
#include "zumra/osa/Exception.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/server/IRestrictedSettingsLoader.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/SettingsCombiner.h"

namespace zumra::settings::server::testing {

inline core::IniFile Document(const std::string& text) {
    core::IniFile document;
    document.LoadFromString(text);
    return document;
}

/// Keeps every call. For use by one thread.
class RecordingCallback : public IChangeCallback {
public:
    struct Call {
        std::set<std::string> groups;
        core::IniFile data;
    };

    void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) override {
        calls.push_back({changedGroups, data});
    }

    std::vector<Call> calls;
};

/// A persister that holds its documents in memory. For use by one thread at a time.
class MemoryStorage : public ISettingsPersister {
public:
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(settings); }
    void SaveSettings(const core::IniFile& document) override {
        if (!failure.empty() || failuresLeft-- > 0) {
            throw osa::Exception(failure);
        }
        settings = document;
        ++saves;
    }

    core::IniFile defaults;
    core::IniFile settings;
    int saves = 0;
    std::string failure;  ///< not empty: saving fails with this
    int failuresLeft = 0;
};

class FixedRestrictions : public IRestrictedSettingsLoader {
public:
    RestrictedGroups LoadRestrictedGroups() override { return groups; }

    RestrictedGroups groups;
};

/// A persister whose saves wait until the test lets them go on.
class BlockingStorage : public ISettingsPersister {
public:
    void LoadDefaults(SettingsCombiner&) override {}
    void LoadSettings(SettingsCombiner&) override {}
    void SaveSettings(const core::IniFile& document) override {
        osa::MutexLock lock(_mutex);
        ++_entered;
        _changed.NotifyAll();
        while (!_open) {
            _changed.Wait(_mutex);
        }
        if (!_failure.empty()) {
            throw osa::Exception(_failure);
        }
        _saved = document;
        ++_saves;
        _changed.NotifyAll();
    }

    /// From now on saves do not wait.
    void Open() {
        osa::MutexLock lock(_mutex);
        _open = true;
        _changed.NotifyAll();
    }
    /// From now on saves fail with this; empty: no more.
    void Fail(const std::string& failure) {
        osa::MutexLock lock(_mutex);
        _failure = failure;
    }
    /// Until this many saves have begun.
    void AwaitEntered(int count) {
        osa::MutexLock lock(_mutex);
        while (_entered < count) {
            _changed.Wait(_mutex);
        }
    }
    /// Until this many saves are done.
    void AwaitSaves(int count) {
        osa::MutexLock lock(_mutex);
        while (_saves < count) {
            _changed.Wait(_mutex);
        }
    }
    int Entered() {
        osa::MutexLock lock(_mutex);
        return _entered;
    }
    core::IniFile Saved() {
        osa::MutexLock lock(_mutex);
        return _saved;
    }

private:
    osa::Mutex _mutex{"storage"};
    osa::Condition _changed;
    bool _open ZUMRA_GUARDED_BY(_mutex) = false;
    int _entered ZUMRA_GUARDED_BY(_mutex) = 0;
    int _saves ZUMRA_GUARDED_BY(_mutex) = 0;
    std::string _failure ZUMRA_GUARDED_BY(_mutex);
    core::IniFile _saved ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::server::testing
