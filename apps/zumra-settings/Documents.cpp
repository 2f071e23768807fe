#include "zumra-settings/Documents.h"

#include <cerrno>
#include <fstream>
#include <istream>
#include <iterator>
#include <ostream>
#include <system_error>

#include "zumra/osa/Exception.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::cli {

namespace {

using settings::common::SettingLocator;

std::string Line(const char* sign, const std::string& group, const std::string& name,
                 const std::string& value) {
    core::IniFile one;
    one["g"][name] = value;
    const std::string text = one.SaveToString();  // "[g]\nname = value\n\n"
    const SettingLocator locator{group, ""};
    return std::string(sign) + " " + locator.ToString() + text.substr(4, text.size() - 6);
}

void WriteGroupDifference(std::ostream& out, const Style& style, const std::string& group,
                          const core::IniFile::Group& from, const core::IniFile::Group& to, bool& differs) {
    for (const auto& [name, value] : from) {
        const auto now = to.find(name);
        if (now == to.end() || now->second != value) {
            out << style.Removed(Line("-", group, name, value)) << '\n';
            differs = true;
        }
        if (now != to.end() && now->second != value) {
            out << style.Added(Line("+", group, name, now->second)) << '\n';
        }
    }
    for (const auto& [name, value] : to) {
        if (from.find(name) == from.end()) {
            out << style.Added(Line("+", group, name, value)) << '\n';
            differs = true;
        }
    }
}

}  // namespace

std::string ReadText(Context& context, const std::string& path) {
    if (path == "-") {
        return {std::istreambuf_iterator<char>(context.in), {}};
    }
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        throw osa::Exception("cannot read '" + path + "': " + std::generic_category().message(errno));
    }
    return text;
}

core::IniFile ReadDocument(Context& context, const std::string& path) {
    core::IniFile document;
    try {
        document.LoadFromString(ReadText(context, path));
    } catch (const osa::Exception& error) {
        const std::string reason = error.what();
        throw osa::Exception(reason.rfind("cannot read ", 0) == 0 ? reason : "'" + path + "': " + reason);
    }
    return document;
}

std::set<std::string> AsSet(const std::vector<std::string>& patterns) {
    return {patterns.begin(), patterns.end()};
}

bool WriteDifference(std::ostream& out, const Style& style, const core::IniFile& from,
                     const core::IniFile& to) {
    bool differs = false;
    const core::IniFile::Group none;
    for (const auto& [group, values] : from) {
        const auto* now = to.FindGroup(group);
        if (now == nullptr) {
            out << style.Removed("- " + SettingLocator{group, ""}.ToString()) << '\n';
            differs = true;
        }
        WriteGroupDifference(out, style, group, values, now != nullptr ? *now : none, differs);
    }
    for (const auto& [group, values] : to) {
        if (!from.HasGroup(group)) {
            out << style.Added("+ " + SettingLocator{group, ""}.ToString()) << '\n';
            differs = true;
            WriteGroupDifference(out, style, group, none, values, differs);
        }
    }
    return differs;
}

std::string Describe(const settings::ZumraSettingsClient::Difference& difference) {
    const std::string where = SettingLocator{difference.group, difference.name.value_or("")}.ToString();
    const auto text = [](const std::optional<std::string>& value) {
        return value ? "'" + Visible(*value) + "'" : std::string("nothing");
    };
    if (!difference.name) {
        return difference.expected ? where + " is not there" : where + " is there";
    }
    return where + ": expected " + text(difference.expected) + ", found " + text(difference.actual);
}

}  // namespace zumra::cli
