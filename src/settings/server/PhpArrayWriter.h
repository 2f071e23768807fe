#pragma once

#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"

/// The pieces of the PHP-array form, each appended to `out`; the form stands at `PhpArraySettingsSerializer`.
/// A document is `AppendArrayStart` with the number of groups, the groups, `kArrayEnd` and `kDocumentEnd`.
namespace zumra::settings::server::PhpArray {

inline constexpr char kArrayEnd = '}';
inline constexpr std::string_view kDocumentEnd = "\n\n";

inline void AppendSize(std::string& out, std::size_t size) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, size).ptr);
}

inline void AppendArrayStart(std::string& out, std::size_t count) {
    out += "a:";
    AppendSize(out, count);
    out += ":{";
}

inline void AppendString(std::string& out, std::string_view text) {
    out += "s:";
    AppendSize(out, text.size());
    out += ":\"";
    out += text;
    out += "\";";
}

inline void AppendGroup(std::string& out, std::string_view name, const core::IniFile::Group& values) {
    AppendString(out, name);
    AppendArrayStart(out, values.size());
    for (const auto& [valueName, value] : values) {
        AppendString(out, valueName);
        AppendString(out, value);
    }
    out += kArrayEnd;
}

}  // namespace zumra::settings::server::PhpArray
