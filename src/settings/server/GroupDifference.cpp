#include "settings/server/GroupDifference.h"

namespace zumra::settings::server {

using common::SharedGroup;

namespace {

bool Has(const SharedGroup& group, const std::string& name) {
    return group && group->find(name) != group->end();
}

/// What comparing shows.
GroupDifference Compare(const SharedGroup& current, const SharedGroup& byDefault) {
    GroupDifference difference;
    if (!current) {
        difference.removed = static_cast<bool>(byDefault);
        return difference;
    }
    if (!byDefault) {
        difference.present = true;
        difference.values = *current;
        return difference;
    }
    for (const auto& [name, value] : *current) {
        const auto at = byDefault->find(name);
        if (at == byDefault->end() || at->second != value) {
            difference.values.emplace_hint(difference.values.end(), name, value);
        }
    }
    for (const auto& value : *byDefault) {
        if (!Has(current, value.first)) {
            difference.removedValues.insert(difference.removedValues.end(), value.first);
        }
    }
    difference.present = !difference.values.empty();
    return difference;
}

/// Adds what `current` does not contradict.
void Keep(const GroupDifference& kept, const SharedGroup& current, GroupDifference& difference) {
    for (const auto& [name, value] : kept.values) {
        if (Has(current, name) && current->at(name) == value) {
            difference.values.emplace(name, value);
            difference.present = true;
        }
    }
    if (current) {
        difference.present = difference.present || (kept.present && kept.values.empty());
    } else {
        difference.removed = difference.removed || kept.removed;
    }
    for (const std::string& name : kept.removedValues) {
        if (!Has(current, name) && !difference.removed) {
            difference.removedValues.insert(name);
        }
    }
}

}  // namespace

GroupDifference DifferenceOf(const SharedGroup& current, const SharedGroup& byDefault,
                             const KeptDifference& kept) {
    GroupDifference difference = Compare(current, byDefault);
    if (kept != nullptr) {
        Keep(*kept, current, difference);
    }
    return difference;
}

SharedGroup GroupWith(const GroupDifference& difference, const SharedGroup& byDefault) {
    SharedGroup group = difference.removed ? SharedGroup() : byDefault;
    if (difference.present && !group) {
        return SharedGroup(difference.values);
    }
    if (!group || (difference.values.empty() && difference.removedValues.empty())) {
        return group;
    }
    SharedGroup::Group& values = group.Edit();
    for (const std::string& name : difference.removedValues) {
        values.erase(name);
    }
    for (const auto& [name, value] : difference.values) {
        values[name] = value;
    }
    return group;
}

}  // namespace zumra::settings::server
