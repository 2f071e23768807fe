#include "settings/server/GroupDifference.h"

namespace zumra::settings::server {

GroupDifference DifferenceOf(const SharedGroup& current, const SharedGroup& byDefault) {
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
        if (current->find(value.first) == current->end()) {
            difference.removedValues.insert(difference.removedValues.end(), value.first);
        }
    }
    difference.present = !difference.values.empty();
    return difference;
}

SharedGroup Apply(const GroupDifference& difference, const SharedGroup& byDefault) {
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
