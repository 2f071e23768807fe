#include "check/Registry.h"

#include <algorithm>
#include <utility>

#include "check/Journal.h"

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
    const bool isToBeAdded = registry.Register(check);
    if (isToBeAdded)
        journal.Write(Journal::Event::kPlanned, check.suite, check.testCase, check.name);
    return isToBeAdded;
}

}  // namespace zumra::check
