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

}  // namespace

const std::string* Store::FindValue(std::string_view group, std::string_view name) const {
    const auto at = _groups.find(group);
    if (at == _groups.end()) {
        return nullptr;
    }
    const auto value = at->second->find(name);
    return value == at->second->end() ? nullptr : &value->second;
}

SharedGroup Store::FindGroup(std::string_view group) const {
    const auto at = _groups.find(group);
    return at == _groups.end() ? SharedGroup() : at->second;
}

void Store::Apply(Edition& edition) noexcept {
    for (Edition::Step& step : edition.steps) {
        if (step.erase) {
            step.erased = _groups.extract(step.at);
        } else if (step.replacement) {
            std::swap(step.at->second, step.replacement);
        } else if (!step.values.empty() || step.removedValue != nullptr) {
            Patch(step.at->second, step);
        }
    }
    _groups.merge(edition.added);
    if (edition.defaults) {
        _defaults.swap(*edition.defaults);
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
