#include "settings/server/Store.h"

namespace zumra::settings::server {

namespace {

/// `group` must be held by one handle only, so that `Edit` copies nothing.
void Patch(SharedGroup& group, Edition::Step& step) noexcept {
    SharedGroup::Group& values = group.Edit();
    SharedGroup::Group before;
    while (!step.values.empty()) {
        auto value = step.values.extract(step.values.begin());
        const auto at = values.find(value.key());
        if (at == values.end()) {
            values.insert(std::move(value));
        } else {
            at->second.swap(value.mapped());
            before.insert(std::move(value));
        }
    }
    if (step.removedValue != nullptr) {
        before.insert(values.extract(*step.removedValue));
    }
    step.values.swap(before);
}

/// A group that someone made, and nothing else: the most frequent case, and the whole of many a store.
bool IsJustThere(const GroupDifference& difference) {
    return difference.present && !difference.removed && difference.removedValues.empty();
}

template <class Map>
typename Map::mapped_type Found(const Map& map, std::string_view name) {
    const auto at = map.find(name);
    return at == map.end() ? typename Map::mapped_type() : at->second;
}

}  // namespace

Store::Store(GroupMap defaults, GroupDifferences&& differences)
    : _groups(defaults), _defaults(std::move(defaults)) {
    for (auto& [name, difference] : differences) {
        const SharedGroup byDefault = FindDefault(name);
        if (!byDefault && IsJustThere(difference)) {
            _groups.insert_or_assign(_groups.end(), name, SharedGroup(std::move(difference.values)));
            continue;
        }
        SharedGroup group = GroupWith(difference, byDefault);
        if (DifferenceOf(group, byDefault, nullptr) != difference) {
            _kept.emplace(name, std::make_shared<const GroupDifference>(difference));
        }
        if (group) {
            _groups[name] = std::move(group);
        } else {
            _groups.erase(name);
        }
    }
}

const std::string* Store::FindValue(std::string_view group, std::string_view name) const {
    const auto at = _groups.find(group);
    if (at == _groups.end()) {
        return nullptr;
    }
    const auto value = at->second->find(name);
    return value == at->second->end() ? nullptr : &value->second;
}

SharedGroup Store::FindGroup(std::string_view group) const {
    return Found(_groups, group);
}

SharedGroup Store::FindDefault(std::string_view group) const {
    return Found(_defaults, group);
}

KeptDifference Store::FindKept(std::string_view group) const {
    return Found(_kept, group);
}

void Store::Apply(Edition& edition) noexcept {
    for (Edition::Step& step : edition.steps) {
        if (step.replacement) {
            std::swap(step.at->second, step.replacement);
        } else if (!step.values.empty() || step.removedValue != nullptr) {
            Patch(step.at->second, step);
        }
    }
    for (const GroupMap::iterator at : edition.erasures) {
        edition.erased.insert(edition.erased.end(), _groups.extract(at));
    }
    _groups.merge(edition.added);
    if (edition.defaults) {
        _defaults.swap(*edition.defaults);
    }
    if (edition.kept) {
        _kept.swap(*edition.kept);
    }
    for (const KeptDifferences::iterator at : edition.forgotten) {
        _kept.erase(at);
    }
    ++_revision;
}

void Store::Exchange(std::string& slot, std::string& value) noexcept {
    slot.swap(value);
    ++_revision;
}

GroupMap ToGroups(const core::IniFile& document) {
    GroupMap groups;
    for (const auto& [name, values] : document) {
        groups.emplace_hint(groups.end(), name, SharedGroup(values));
    }
    return groups;
}

}  // namespace zumra::settings::server
