#pragma once

#include <string>
#include <string_view>

#include "zumra/Export.h"

namespace zumra::settings::common {

/// The name of one value as a text: "[" group "]" name, such as "[section1]value1".
///
/// The first "]" ends the group name, and everything after it is the name, blanks included. A group name that
/// holds "]" stands in double quotes inside the brackets, `["a]b"]name`; so does a group name that begins
/// with a double quote or holds a line end. A name stands in double quotes, `[group]"x\ny"`, when it begins
/// with a double quote, holds a line end or ends in a carriage return. The escapes inside quotes are those of
/// the INI text (see `core::IniFile`). Group and name may be empty. A locator never spans lines.
///
/// Thread-safety: a plain value.
///
///     const auto locator = SettingLocator::Parse("[Resources/DSP]TotalAvailable");
///     document[locator.group][locator.name] = "100";
struct ZUMRA_EXPORT SettingLocator {
    std::string group;
    std::string name;

    /// Throws `zumra::osa::Exception` "Failed to parse '<text>' as a SettingLocator" when the text does not
    /// begin with a group in brackets or when what is quoted in it is malformed.
    [[nodiscard]] static SettingLocator Parse(std::string_view text);
    /// The text that `Parse` reads back as this locator; quotes only what needs it.
    [[nodiscard]] std::string ToString() const;

    friend bool operator==(const SettingLocator& a, const SettingLocator& b) {
        return a.group == b.group && a.name == b.name;
    }
    friend bool operator!=(const SettingLocator& a, const SettingLocator& b) { return !(a == b); }
};

}  // namespace zumra::settings::common
