#pragma once

#include "zumra/core/IniFile.h"
#include "zumra/settings/server/ISettingsPersister.h"

namespace TestUtil {

/// Keeps a server's settings in memory. A check fills `_defaults` before it hands the persister to a
/// `SettingsManager`, which it outlives, and reads what was saved from `_settings`.
class MemoryPersister : public zumra::settings::server::ISettingsPersister {
public:
    void LoadDefaults(zumra::settings::server::SettingsCombiner& combiner) override;
    void LoadSettings(zumra::settings::server::SettingsCombiner& combiner) override;
    void SaveSettings(const zumra::core::IniFile& settings) override;

    zumra::core::IniFile _settings;
    zumra::core::IniFile _defaults;
};

}  // namespace TestUtil
