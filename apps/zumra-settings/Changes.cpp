// How two documents differ.
#include <ostream>

#include "zumra-settings/Documents.h"
#include "zumra-settings/Json.h"

namespace zumra::cli {

namespace {

using settings::common::SettingLocator;
using Group = core::IniFile::Group;

void AddGroupChanges(const std::string& group, const Group& from, const Group& to,
                     std::vector<Change>& changes) {
    for (const auto& [name, value] : from) {
        const auto now = to.find(name);
        if (now == to.end()) {
            changes.push_back({group, name, value, {}});
        } else if (now->second != value) {
            changes.push_back({group, name, value, now->second});
        }
    }
    for (const auto& [name, value] : to) {
        if (from.find(name) == from.end()) {
            changes.push_back({group, name, {}, value});
        }
    }
}

std::string Line(const Change& change, const std::string& value) {
    if (!change.name) {
        return SettingLocator{change.group, ""}.ToString();
    }
    core::IniFile one;
    one["g"][*change.name] = value;
    const std::string text = one.SaveToString();  // "[g]\nname = value\n\n"
    return SettingLocator{change.group, ""}.ToString() + text.substr(4, text.size() - 6);
}

void WriteForPeople(std::ostream& out, const Style& style, const std::vector<Change>& changes) {
    for (const Change& change : changes) {
        if (change.from) {
            out << style.Removed(style.Shown("- " + Line(change, *change.from))) << '\n';
        }
        if (change.to) {
            out << style.Added(style.Shown("+ " + Line(change, *change.to))) << '\n';
        }
    }
}

Json ToJson(const std::vector<Change>& changes) {
    const auto text = [](const std::optional<std::string>& value) { return value ? Json(*value) : Json(); };
    Json all = Json::array();
    for (const Change& change : changes) {
        Json one = {{"group", change.group}, {"name", text(change.name)}};
        if (change.name) {
            one["from"] = text(change.from);
            one["to"] = text(change.to);
        } else {
            one["change"] = change.to ? "added" : "removed";
        }
        all.push_back(std::move(one));
    }
    return all;
}

}  // namespace

std::vector<Change> Changes(const core::IniFile& from, const core::IniFile& to) {
    std::vector<Change> changes;
    for (const auto& [group, values] : from) {
        const auto* now = to.FindGroup(group);
        if (now == nullptr) {
            changes.push_back({group, {}, "", {}});
        }
        AddGroupChanges(group, values, now != nullptr ? *now : Group(), changes);
    }
    for (const auto& [group, values] : to) {
        if (!from.HasGroup(group)) {
            changes.push_back({group, {}, {}, ""});
            AddGroupChanges(group, {}, values, changes);
        }
    }
    return changes;
}

void WriteChanges(Context& context, const std::vector<Change>& changes) {
    if (context.form == Form::kPeople) {
        WriteForPeople(context.out, context.style, changes);
    } else if (context.form == Form::kJson) {
        WriteJson(context.out, ToJson(changes), "a difference");
    } else {
        throw UsageError{"a difference is shown for people or as JSON; ask for '--form people' or 'json'"};
    }
}

}  // namespace zumra::cli
