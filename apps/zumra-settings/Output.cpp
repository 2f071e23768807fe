#include "zumra-settings/Output.h"

#include <nlohmann/json.hpp>
#include <ostream>

#include "settings/common/LineCodec.h"
#include "zumra/osa/Exception.h"

namespace zumra::cli {

namespace {

/// An object that keeps the order of the document.
using Json = nlohmann::ordered_json;

void Dump(std::ostream& out, const Json& json, const std::string& what) {
    try {
        out << json.dump(2) << '\n';
    } catch (const Json::exception&) {
        throw osa::Exception(what +
                             " holds bytes that are not UTF-8, which JSON cannot say; ask for another form");
    }
}

void PutNul(std::ostream& out, const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        throw osa::Exception("'" + Visible(text) + "' holds a NUL byte; ask for another form");
    }
    out << text << '\0';
}

void WriteJson(std::ostream& out, const core::IniFile& document) {
    Json json = Json::object();
    for (const auto& [group, values] : document) {
        Json object = Json::object();
        for (const auto& [name, value] : values) {
            object[name] = value;
        }
        json[group] = std::move(object);
    }
    Dump(out, json, "the document");
}

void WriteColored(std::ostream& out, const Style& style, const core::IniFile& document) {
    for (const auto& [group, values] : document) {
        core::IniFile one;
        one.SetGroup(group, values);
        std::string text = one.SaveToString();
        const auto end = text.find('\n');
        out << style.Strong(text.substr(0, end)) << text.substr(end);
    }
}

}  // namespace

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
            WriteJson(out, document);
            break;
        case Form::kNul:
            for (const auto& [group, values] : document) {
                for (const auto& [name, value] : values) {
                    PutNul(out, group);
                    PutNul(out, name);
                    PutNul(out, value);
                }
            }
            break;
    }
}

void WriteTexts(std::ostream& out, Form form, const std::vector<std::string>& texts) {
    if (form == Form::kJson) {
        Dump(out, Json(texts), "a name");
        return;
    }
    for (const std::string& text : texts) {
        if (form == Form::kNul) {
            PutNul(out, text);
        } else {
            out << settings::common::LineCodec::Encode(text) << '\n';
        }
    }
}

void WriteValue(std::ostream& out, Form form, const std::string& value) {
    switch (form) {
        case Form::kPeople:
        case Form::kIni:
            out << value << '\n';
            break;
        case Form::kJson:
            Dump(out, Json(value), "the value");
            break;
        case Form::kNul:
            PutNul(out, value);
            break;
    }
}

std::string Visible(std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string visible;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            visible += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            visible += c;
        }
    }
    return visible;
}

}  // namespace zumra::cli
