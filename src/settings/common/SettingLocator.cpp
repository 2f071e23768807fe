#include "zumra/settings/common/SettingLocator.h"

#include <optional>

#include "core/IniText.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::common {
namespace {

/// Takes the group and its brackets off the text; nothing when they are malformed.
std::optional<std::string> TakeGroup(std::string_view& text) {
    if (text.empty() || text.front() != '[') {
        return std::nullopt;
    }
    text.remove_prefix(1);
    std::string group;
    if (!text.empty() && text.front() == '"') {
        const core::QuotedText quoted = core::ReadQuoted(text, group);
        text.remove_prefix(quoted.length);
        if (quoted.error != nullptr || text.empty() || text.front() != ']') {
            return std::nullopt;
        }
    } else {
        const std::size_t end = text.find(']');
        if (end == text.npos) {
            return std::nullopt;
        }
        group = text.substr(0, end);
        text.remove_prefix(end);
    }
    text.remove_prefix(1);
    return group;
}

std::optional<std::string> ReadName(std::string_view text) {
    if (text.empty() || text.front() != '"') {
        return std::string(text);
    }
    std::string name;
    const core::QuotedText quoted = core::ReadQuoted(text, name);
    if (quoted.error != nullptr || quoted.length != text.size()) {
        return std::nullopt;
    }
    return name;
}

void Append(std::string& out, std::string_view text, bool quotes) {
    if (quotes) {
        core::AppendQuoted(out, text);
    } else {
        out += text;
    }
}

}  // namespace

SettingLocator SettingLocator::Parse(std::string_view text) {
    std::string_view rest = text;
    auto group = TakeGroup(rest);
    auto name = group ? ReadName(rest) : std::nullopt;
    if (!name) {
        throw osa::Exception("Failed to parse '" + std::string(text) + "' as a SettingLocator");
    }
    return {std::move(*group), std::move(*name)};
}

std::string SettingLocator::ToString() const {
    std::string text = "[";
    Append(text, group, core::GroupNeedsQuotes(group) || group.find(']') != group.npos);
    text += ']';
    Append(text, name, core::RestOfLineNeedsQuotes(name));
    return text;
}

}  // namespace zumra::settings::common
