#pragma once

#include <string>
#include <string_view>

#include "zumra/Export.h"

namespace zumra::settings::common {

/// The name of one value: "[" group "]" name, such as "[section1]value1".
struct ZUMRA_EXPORT SettingLocator {
    std::string group;
    std::string name;

    /// Throws `zumra::osa::Exception` "Failed to parse '<text>' as a SettingLocator".
    [[nodiscard]] static SettingLocator Parse(std::string_view text);
    /// The text that `Parse` reads back as this locator.
    [[nodiscard]] std::string ToString() const;
};

}  // namespace zumra::settings::common
