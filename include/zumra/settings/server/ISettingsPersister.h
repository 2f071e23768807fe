#pragma once

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

class SettingsCombiner;

/// Where the server keeps its settings.
class ZUMRA_EXPORT ISettingsPersister {
public:
    virtual ~ISettingsPersister();
    virtual void LoadDefaults(SettingsCombiner& combiner) = 0;
    virtual void LoadSettings(SettingsCombiner& combiner) = 0;
    virtual void SaveSettings(const core::IniFile& settings) = 0;
};

}  // namespace zumra::settings::server
