#include "zumra/settings/server/IniSettingsSerializer.h"

namespace zumra::settings::server {

void IniSettingsSerializer::Serialize(const core::IniFile& document, const common::GroupNameMatcher& groups,
                                      std::ostream& out) {
    groups.SerializeIni(out, document);
}

void IniSettingsSerializer::Deserialize(std::istream& in, core::IniFile& document) {
    document.LoadFromStream(in);
}

}  // namespace zumra::settings::server
