#include "common/MemoryPersister.h"

#include "zumra/settings/server/SettingsCombiner.h"

namespace TestUtil {

void MemoryPersister::LoadDefaults(zumra::settings::server::SettingsCombiner& combiner) {
    combiner.LoadFromIni(_defaults);
}

void MemoryPersister::LoadSettings(zumra::settings::server::SettingsCombiner& combiner) {
    combiner.LoadFromIni(_settings);
}

void MemoryPersister::SaveSettings(const zumra::core::IniFile& settings) {
    _settings.Clear();
    _settings.MergeSettings(settings);
}

}  // namespace TestUtil
