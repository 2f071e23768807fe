#include "settings/server/StoreEdits.h"

#include <map>
#include <memory>
#include <set>
#include <utility>

#include "settings/server/GroupDifference.h"

namespace zumra::settings::server {

namespace {

using Group = SharedGroup::Group;

/// Takes the values of `wanted` that `present` lacks or has otherwise.
Group TakeDiffering(Group& wanted, const Group& present) {
    Group differing;
    for (auto at = wanted.begin(); at != wanted.end();) {
        const auto value = at++;
        const auto other = present.find(value->first);
        if (other == present.end() || other->second != value->second) {
            differing.insert(differing.end(), wanted.extract(value));
        }
    }
    return differing;
}

/// Puts `values` into a group that exists: into the group itself unless someone else holds it, too.
Edition::Step PutValues(GroupMap::iterator at, Group values) {
    if (at->second.Unshared()) {
        return {.at = at, .values = std::move(values)};
    }
    Group copy = *at->second;
    for (auto& [name, value] : values) {
        copy[name] = std::move(value);
    }
    return {.at = at, .replacement = SharedGroup(std::move(copy))};
}

void PlanAdd(std::string&& name, Group&& values, Edition& edition) {
    edition.added.emplace_hint(edition.added.end(), std::move(name), SharedGroup(std::move(values)));
}

void PlanMergeOf(Store& store, std::string&& name, Group&& values, Edition& edition) {
    const auto at = store.Groups().find(name);
    if (at == store.Groups().end()) {
        PlanAdd(std::move(name), std::move(values), edition);
        return;
    }
    Group differing = TakeDiffering(values, *at->second);
    if (!differing.empty()) {
        edition.steps.push_back(PutValues(at, std::move(differing)));
    }
}

/// A group that is restored follows the defaults again in everything.
void PlanForget(Store& store, const std::string& name, Edition& edition) {
    const auto kept = store.Kept().find(name);
    if (kept == store.Kept().end()) {
        return;
    }
    const SharedGroup current = store.FindGroup(name);
    const SharedGroup byDefault = store.FindDefault(name);
    if (DifferenceOf(current, byDefault, kept->second) != GroupDifference()) {
        edition.forgotten.push_back(kept);
        edition.unsaved.insert(name);
    }
}

SharedGroup Found(const GroupMap& groups, const std::string& name) {
    const auto at = groups.find(name);
    return at == groups.end() ? SharedGroup() : at->second;
}

std::set<std::string> DifferingNames(const GroupMap& before, const GroupMap& after) {
    std::set<std::string> names;
    for (const auto& [name, group] : before) {
        if (Found(after, name) != group) {
            names.insert(name);
        }
    }
    for (const auto& group : after) {
        if (before.find(group.first) == before.end()) {
            names.insert(group.first);
        }
    }
    return names;
}

/// The group with another default under what was set and removed.
void PlanRebase(Store& store, const std::string& name, const SharedGroup& byDefault, Edition& edition) {
    const auto at = store.Groups().find(name);
    const SharedGroup current = store.FindGroup(name);
    GroupDifference difference = DifferenceOf(current, store.FindDefault(name), store.FindKept(name));
    SharedGroup rebased = GroupWith(difference, byDefault);
    edition.unsaved.insert(name);
    if (DifferenceOf(rebased, byDefault, nullptr) != difference) {
        edition.kept->emplace(name, std::make_shared<const GroupDifference>(std::move(difference)));
    }
    if (!rebased && current) {
        edition.erasures.push_back(at);
    } else if (rebased && !current) {
        edition.added.emplace(name, std::move(rebased));
    } else if (rebased != current) {
        edition.steps.push_back({.at = at, .replacement = std::move(rebased)});
    }
}

}  // namespace

void RequireWriteOfAll(const core::IniFile::Groups& settings, const Access& access) {
    for (const auto& group : settings) {
        access.RequireWrite(group.first);
    }
}

Edition PlanMerge(Store& store, core::IniFile::Groups& settings, const Access& access) {
    RequireWriteOfAll(settings, access);
    Edition edition;
    while (!settings.empty()) {
        auto group = settings.extract(settings.begin());
        PlanMergeOf(store, std::move(group.key()), std::move(group.mapped()), edition);
    }
    return edition;
}

Edition PlanSetValue(Store& store, std::string_view group, std::string_view name, std::string& value,
                     const Access& access) {
    access.RequireWrite(group);
    Edition edition;
    const std::string* present = store.FindValue(group, name);
    if (present != nullptr && *present == value) {
        return edition;
    }
    Group values;
    values.emplace(std::string(name), std::move(value));
    const auto at = store.Groups().find(group);
    if (at == store.Groups().end()) {
        edition.added.emplace(std::string(group), SharedGroup(std::move(values)));
    } else {
        edition.steps.push_back(PutValues(at, std::move(values)));
    }
    return edition;
}

Edition PlanOverwrite(Store& store, const common::GroupNameMatcher& groups, core::IniFile::Groups& settings,
                      const Access& access) {
    RequireWriteOfAll(settings, access);
    Edition edition;
    groups.ForEachMatch(store.Groups(), [&](GroupMap::iterator at) {
        if (access.MayRead(at->first) && !settings.contains(at->first)) {
            access.RequireWrite(at->first);
            edition.erasures.push_back(at);
        }
    });
    while (!settings.empty()) {
        auto group = settings.extract(settings.begin());
        const auto at = store.Groups().find(group.key());
        if (at == store.Groups().end()) {
            PlanAdd(std::move(group.key()), std::move(group.mapped()), edition);
        } else {
            edition.steps.push_back({.at = at, .replacement = SharedGroup(std::move(group.mapped()))});
        }
    }
    return edition;
}

Edition PlanErase(Store& store, const common::GroupNameMatcher& groups, const Access& access) {
    Edition edition;
    groups.ForEachMatch(store.Groups(), [&](GroupMap::iterator at) {
        if (access.MayRead(at->first)) {
            access.RequireWrite(at->first);
            edition.erasures.push_back(at);
        }
    });
    return edition;
}

Edition PlanEraseValue(Store& store, std::string_view group, std::string_view name, const Access& access) {
    access.RequireWrite(group);
    Edition edition;
    const auto at = store.Groups().find(group);
    if (at == store.Groups().end()) {
        return edition;
    }
    const auto value = at->second->find(name);
    if (value == at->second->end()) {
        return edition;
    }
    if (at->second.Unshared()) {
        edition.steps.push_back({.at = at, .removedValue = &value->first});
    } else {
        Group copy = *at->second;
        copy.erase(value->first);
        edition.steps.push_back({.at = at, .replacement = SharedGroup(std::move(copy))});
    }
    return edition;
}

Edition PlanEraseValues(Store& store, const std::vector<common::SettingLocator>& values,
                        const Access& access) {
    std::map<std::string_view, Group> left;
    for (const common::SettingLocator& value : values) {
        access.RequireWrite(value.group);
        const SharedGroup group = store.FindGroup(value.group);
        if (!group || !group->contains(value.name)) {
            continue;
        }
        const auto at = left.try_emplace(value.group, *group).first;
        at->second.erase(value.name);
    }
    Edition edition;
    for (auto& [name, content] : left) {
        edition.steps.push_back(
            {.at = store.Groups().find(name), .replacement = SharedGroup(std::move(content))});
    }
    return edition;
}

Edition PlanRestore(Store& store, const common::GroupNameMatcher& groups, const Access& access) {
    Edition edition;
    groups.ForEachMatch(store.Defaults(), [&](GroupMap::const_iterator wanted) {
        if (!access.MayRead(wanted->first)) {
            return;
        }
        access.RequireWrite(wanted->first);
        const auto at = store.Groups().find(wanted->first);
        if (at == store.Groups().end()) {
            edition.added.emplace_hint(edition.added.end(), *wanted);
        } else if (at->second != wanted->second) {
            edition.steps.push_back({.at = at, .replacement = wanted->second});
        }
        PlanForget(store, wanted->first, edition);
    });
    return edition;
}

Edition PlanNewDefaults(Store& store, const GroupMap& defaults) {
    Edition edition;
    const std::set<std::string> names = DifferingNames(store.Defaults(), defaults);
    if (names.empty()) {
        return edition;
    }
    edition.defaults = defaults;
    edition.kept.emplace();
    for (const std::string& name : names) {
        PlanRebase(store, name, Found(defaults, name), edition);
    }
    for (const auto& kept : store.Kept()) {
        if (names.count(kept.first) == 0) {
            PlanRebase(store, kept.first, Found(defaults, kept.first), edition);
        }
    }
    for (auto& [name, group] : *edition.defaults) {
        if (names.count(name) == 0) {
            group = store.FindDefault(name);  // shared with the groups that are as by default
        }
    }
    return edition;
}

}  // namespace zumra::settings::server
