#pragma once

#include "zumra/settings/server/ISettingsSerializer.h"

namespace zumra::settings::server {

/// The INI text as a serializer; the form stands at `core::IniFile`. `Deserialize` reads to the end of the
/// stream.
class ZUMRA_EXPORT IniSettingsSerializer : public ISettingsSerializer {
public:
    void Serialize(const core::IniFile& document, const common::GroupNameMatcher& groups,
                   std::ostream& out) override;
    void Deserialize(std::istream& in, core::IniFile& document) override;
};

}  // namespace zumra::settings::server
