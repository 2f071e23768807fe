#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zumra/core/IniFile.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/IChangeCallback.h"
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

/// A persister that holds its documents in memory.
class MemoryStorage : public ISettingsPersister {
public:
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(settings); }
    void SaveSettings(const core::IniFile& document) override {
        settings = document;
        ++saves;
    }

    core::IniFile defaults;
    core::IniFile settings;
    int saves = 0;
};

}  // namespace zumra::settings::server::testing
