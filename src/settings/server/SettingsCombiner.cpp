#include "zumra/settings/server/SettingsCombiner.h"

#include <utility>

#include "zumra/settings/server/IIncludeFilter.h"

namespace zumra::settings::server {

SettingsCombiner::SettingsCombiner(IIncludeFilter* filter) : _filter(filter) {}

void SettingsCombiner::LoadFromIni(const core::IniFile& document) {
    _combined.MergeSettings(document);
}

void SettingsCombiner::LoadFromIni(core::IniFile&& document) {
    _combined.MergeSettings(std::move(document));
}

void SettingsCombiner::LoadInclude(core::IniFile document, const std::string& source) {
    if (_filter != nullptr) {
        _filter->Filter(document, source);
    }
    _combined.MergeSettings(std::move(document));
}

}  // namespace zumra::settings::server
