#include "check/Registry.h"

#include <algorithm>
#include <utility>

namespace zumra::check {

Registry registry;

bool Registry::Register(const CheckDescription& check) {
    if (!_selection.Selects(check))
        return false;
    (_looking ? _shown : _checks).push_back(check);
    return !_looking;
}

const CheckDescription* Registry::Find(const char* name) const {
    const auto found = std::find_if(_checks.begin(), _checks.end(),
                                    [name](const CheckDescription& check) { return check.name == name; });
    return found == _checks.end() ? nullptr : &*found;
}

void Registry::Select(Selection selection) {
    _selection = std::move(selection);
}

void Registry::StartLooking() {
    _looking = true;
}

std::vector<CheckDescription> Registry::Shown() {
    _looking = false;
    return std::exchange(_shown, {});
}

bool RegisterCheck(const CheckDescription& check) {
    return registry.Register(check);
}

}  // namespace zumra::check
