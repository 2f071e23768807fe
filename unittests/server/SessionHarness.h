#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "settings/server/Session.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/SettingsCombiner.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server::testing {

/// A persister in memory.
class SavedInMemory : public ISettingsPersister {
public:
    core::IniFile defaults;
    core::IniFile saved;

    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(saved); }
    void SaveSettings(const core::IniFile& settings) override { saved = settings; }
};

/// A store with what a session needs besides; it has a persister when there are defaults.
class Server {
public:
    explicit Server(std::string_view defaults = {}, IRestrictedSettingsLoader* restrictions = nullptr,
                    bool deferSaves = false) {
        persister.defaults.LoadFromString(defaults);
        manager = defaults.empty() && restrictions == nullptr && !deferSaves
                      ? std::make_unique<SettingsManager>()
                      : std::make_unique<SettingsManager>(&persister, restrictions, nullptr, deferSaves);
        env.settingsManager = manager.get();
        env.serializationManager = &serializers;
    }

    [[nodiscard]] core::IniFile Everything() const {
        core::IniFile all;
        for (const auto& [name, group] : manager->Read(common::GroupNameMatcher("*"))) {
            all.SetGroup(name, *group);
        }
        return all;
    }
    [[nodiscard]] std::string Text() const { return Everything().SaveToString(); }

    SavedInMemory persister;
    SerializationManager serializers;
    std::unique_ptr<SettingsManager> manager;
    ServerEnv env;
};

/// Takes everything that the session has to say, and lets it go on as a driver does.
inline std::string Drain(Session& session) {
    std::string output;
    do {
        output += session.TakeOutput();
        session.Resume();
    } while (session.HasOutput());
    return output;
}

inline std::string Feed(Session& session, std::string_view bytes) {
    session.Feed(bytes);
    return Drain(session);
}

inline std::string Finish(Session& session) {
    session.Finish();
    return Drain(session);
}

/// The whole output for a whole input.
inline std::string RunWhole(Server& server, std::string_view request, const SessionLimits& limits = {}) {
    Session session(server.env, {limits, nullptr, nullptr, nullptr});
    const std::string output = Feed(session, request);
    return output + Finish(session);
}

}  // namespace zumra::settings::server::testing
