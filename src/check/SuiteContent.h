#pragma once

#include <vector>

#include "check/Selection.h"
#include "zumra/check/Runner.h"

namespace zumra::check {

/// The checks of the suite that the registry's selection holds, in their order. Builds the suite to see.
std::vector<CheckDescription> SelectedChecks(zu_check_builder builder);

/// Whether anything of `suite` is to run. Builds the suite only where patterns have to be tried.
bool Enables(const Selection& selection, const zu_check_suite& suite);

/// Throws `CommandLineError` when patterns leave no check at all. `suites` is ended by a null name, or null:
/// then patterns cannot be tried, which is an error too.
void RequireSelectedChecks(const Selection& selection, const zu_check_suite* suites);

}  // namespace zumra::check
