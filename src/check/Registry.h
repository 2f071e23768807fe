#pragma once

#include <vector>

#include "check/Selection.h"
#include "zumra/check/Registration.h"

namespace zumra::check {

/// The checks that suites' builders have registered.
class Registry {
public:
    /// False while only looking, and for a check that is not selected.
    bool Register(const CheckDescription& check);
    /// By the very pointer, as Check hands it back; null when it was never registered.
    [[nodiscard]] const CheckDescription* Find(const char* name) const;

    /// From here on only these are; before, all.
    void Select(Selection selection);

    /// From here on builders show their checks without adding them; what they showed is handed out by
    /// `Shown`.
    void StartLooking();
    std::vector<CheckDescription> Shown();

private:
    bool _looking = false;
    Selection _selection;
    std::vector<CheckDescription> _checks;
    std::vector<CheckDescription> _shown;
};

/// Static because neither a suite's builder nor a running check is given any context by Check.
extern Registry registry;

}  // namespace zumra::check
