#pragma once

#include <iosfwd>

#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::server {

/// One text form of a settings document.
class ZUMRA_EXPORT ISettingsSerializer {
public:
    virtual ~ISettingsSerializer();
    virtual void Serialize(const core::IniFile& document, const common::GroupNameMatcher& groups,
                           std::ostream& out) = 0;
    virtual void Deserialize(std::istream& in, core::IniFile& document) = 0;
};

}  // namespace zumra::settings::server
