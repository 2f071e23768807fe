#include "settings/server/Comparison.h"

namespace zumra::settings::server {

namespace {

using Group = SharedGroup::Group;

Difference MissingGroup(const std::string& name) {
    return {.group = name, .name = {}, .expected = {}, .actual = {}};
}

Difference UnexpectedGroup(const std::string& name) {
    return {.group = name, .name = {}, .expected = {}, .actual = std::string()};
}

/// The first value of `expected` that `actual` (null: no group) lacks or has otherwise.
std::optional<Difference> FindDifferingValue(const std::string& group, const Group& expected,
                                             const Group* actual) {
    for (const auto& [name, value] : expected) {
        const auto at = actual == nullptr ? Group::const_iterator() : actual->find(name);
        if (actual == nullptr || at == actual->end()) {
            return Difference{group, name, value, {}};
        }
        if (at->second != value) {
            return Difference{group, name, value, at->second};
        }
    }
    return {};
}

std::optional<Difference> FindDifferenceOfGroups(const std::string& group, const Group& expected,
                                                 const Group& actual) {
    auto wanted = expected.begin();
    for (const auto& [name, value] : actual) {
        if (wanted == expected.end() || name < wanted->first) {
            return Difference{group, name, {}, value};
        }
        if (wanted->first < name) {
            break;
        }
        if (wanted->second != value) {
            return Difference{group, name, wanted->second, value};
        }
        ++wanted;
    }
    if (wanted == expected.end()) {
        return {};
    }
    return Difference{group, wanted->first, wanted->second, {}};
}

}  // namespace

std::optional<Difference> FindDifference(const Store& store, const core::IniFile& expected,
                                         const Access& access) {
    for (const auto& [name, values] : expected) {
        const auto at = store.Groups().find(name);
        const bool there = at != store.Groups().end() && access.MayRead(name);
        auto difference = FindDifferingValue(name, values, there ? &*at->second : nullptr);
        if (difference) {
            return difference;
        }
    }
    return {};
}

std::optional<Difference> FindExactDifference(const Store& store, const common::GroupNameMatcher& groups,
                                              const core::IniFile& expected, const Access& access) {
    std::optional<Difference> difference;
    auto wanted = expected.begin();
    groups.ForEachMatch(store.Groups(), [&](GroupMap::const_iterator at) {
        if (difference || !access.MayRead(at->first)) {
            return;
        }
        if (wanted == expected.end() || at->first < wanted->first) {
            difference = UnexpectedGroup(at->first);
        } else if (wanted->first < at->first) {
            difference = MissingGroup(wanted->first);
        } else {
            difference = FindDifferenceOfGroups(at->first, wanted->second, *at->second);
            ++wanted;
        }
    });
    if (!difference && wanted != expected.end()) {
        difference = MissingGroup(wanted->first);
    }
    return difference;
}

}  // namespace zumra::settings::server
