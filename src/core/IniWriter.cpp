#include "core/IniWriter.h"

#include "core/IniText.h"

namespace zumra::core {
namespace {

void Append(std::string& out, std::string_view text, bool quotes) {
    if (quotes) {
        AppendQuoted(out, text);
    } else {
        out += text;
    }
}

}  // namespace

void AppendGroup(std::string& out, std::string_view name, const IniFile::Group& values) {
    out += '[';
    Append(out, name, GroupNeedsQuotes(name));
    out += "]\n";
    for (const auto& [valueName, value] : values) {
        Append(out, valueName, NameNeedsQuotes(valueName));
        out += " = ";
        Append(out, value, ValueNeedsQuotes(value));
        out += '\n';
    }
    out += '\n';
}

}  // namespace zumra::core
