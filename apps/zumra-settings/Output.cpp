#include "zumra-settings/Output.h"

#include <algorithm>
#include <ostream>

#include "settings/common/MatcherLines.h"
#include "zumra-settings/Json.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

core::IniFile ReadNul(const std::string& text) {
    std::vector<std::string> texts;
    std::size_t start = 0;
    for (std::size_t end = text.find('\0'); end != std::string::npos; end = text.find('\0', start)) {
        texts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    if (start != text.size() || texts.size() % 3 != 0) {
        throw osa::Exception("expected group, name and value with a NUL byte behind each, got " +
                             std::to_string(texts.size()) + " texts and " +
                             std::to_string(text.size() - start) + " more bytes");
    }
    core::IniFile document;
    for (std::size_t index = 0; index < texts.size(); index += 3) {
        document[texts[index]][texts[index + 1]] = texts[index + 2];
    }
    return document;
}

void WriteColored(std::ostream& out, const Style& style, const core::IniFile& document) {
    for (const auto& [group, values] : document) {
        core::IniFile one;
        one.SetGroup(group, values);
        std::string text = one.SaveToString();
        const auto end = text.find('\n');
        out << style.Strong(style.Shown(text.substr(0, end))) << style.Shown(text.substr(end));
    }
}

}  // namespace

void WriteNul(std::ostream& out, const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw osa::Exception("'" + Visible(text) + "' holds a NUL byte; ask for another form");
    }
    out << text << '\0';
}

std::string Style::Shown(std::string_view text) const {
    if (!_terminal) {
        return std::string(text);
    }
    std::string shown;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find_first_of("\n\t", start), text.size());
        shown += Visible(text.substr(start, end - start));
        if (end < text.size()) {
            shown += text[end];
        }
        start = end + 1;
    }
    return shown;
}

std::string Style::Wrap(const char* code, std::string_view text) const {
    if (!_colored || text.empty()) {
        return std::string(text);
    }
    return "\033[" + std::string(code) + "m" + std::string(text) + "\033[0m";
}

void WriteDocument(std::ostream& out, Form form, const Style& style, const core::IniFile& document) {
    switch (form) {
        case Form::kPeople:
            WriteColored(out, style, document);
            break;
        case Form::kIni:
            document.SaveToStream(out);
            break;
        case Form::kJson:
            WriteJson(out, ToJson(document), "the document");
            break;
        case Form::kNul:
            for (const auto& [group, values] : document) {
                for (const auto& [name, value] : values) {
                    WriteNul(out, group);
                    WriteNul(out, name);
                    WriteNul(out, value);
                }
            }
            break;
    }
}

core::IniFile ReadDocument(Form form, const std::string& text) {
    if (form == Form::kJson) {
        return ReadJson(text);
    }
    if (form == Form::kNul) {
        return ReadNul(text);
    }
    core::IniFile document;
    document.LoadFromString(text);
    return document;
}

std::string GroupWord(const std::string& name) {
    settings::common::GroupNameMatcher matcher;
    matcher.AddName(name);
    std::string line;
    settings::common::MatcherLines::Append(line, matcher);
    line.pop_back();
    return line;
}

void WriteGroupNames(std::ostream& out, Form form, const Style& style,
                     const std::vector<std::string>& names) {
    if (form == Form::kJson) {
        WriteJson(out, Json(names), "a name");
        return;
    }
    for (const std::string& name : names) {
        if (form == Form::kNul) {
            WriteNul(out, name);
        } else {
            out << style.Shown(GroupWord(name)) << '\n';
        }
    }
}

void WriteValue(std::ostream& out, Form form, const Style& style, const std::string& value) {
    switch (form) {
        case Form::kPeople:
            out << style.Shown(value) << '\n';
            break;
        case Form::kIni:
            out << value << '\n';
            break;
        case Form::kJson:
            WriteJson(out, Json(value), "the value");
            break;
        case Form::kNul:
            WriteNul(out, value);
            break;
    }
}

std::string Visible(std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string visible;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        const auto next = static_cast<unsigned char>(index + 1 < text.size() ? text[index + 1] : 0);
        // The control characters of ASCII, and those that UTF-8 writes as two bytes.
        const bool wide = byte == 0xc2 && next >= 0x80 && next < 0xa0;
        if (byte < 0x20 || byte == 0x7f || wide) {
            const unsigned char control = wide ? next : byte;
            visible += {'\\', 'x', kDigits[control >> 4], kDigits[control & 15]};
            index += wide ? 1 : 0;
        } else {
            visible += text[index];
        }
    }
    return visible;
}

}  // namespace zumra::cli
