#pragma once

#include "zumra/settings/server/ISettingsSerializer.h"

namespace zumra::settings::server {

class ZUMRA_EXPORT PhpArraySettingsSerializer : public ISettingsSerializer {
public:
    void Serialize(const core::IniFile& document, const common::GroupNameMatcher& groups,
                   std::ostream& out) override;
    void Deserialize(std::istream& in, core::IniFile& document) override;
};

}  // namespace zumra::settings::server
