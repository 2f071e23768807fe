#include "check/SuiteContent.h"

#include "check/CommandLine.h"
#include "check/Registry.h"

namespace zumra::check {

std::vector<CheckDescription> SelectedChecks(zu_check_builder builder) {
    registry.StartLooking();
    SRunner* const owner = srunner_create(builder());
    srunner_free(owner);
    return registry.Shown();
}

bool Enables(const Selection& selection, const zu_check_suite& suite) {
    return selection.Enables(suite.name) &&
           (!selection.HasPatterns() || !SelectedChecks(suite.builder).empty());
}

void RequireSelectedChecks(const Selection& selection, const zu_check_suite* suites) {
    if (!selection.HasPatterns())
        return;
    if (suites == nullptr)
        throw CommandLineError("this program has no list of its suites to try --filter and --exclude on");
    for (; suites->name != nullptr; ++suites)
        if (Enables(selection, *suites))
            return;
    throw CommandLineError(
        "no check is selected; patterns are for the whole SUITE/CASE/CHECK, see --list -v");
}

}  // namespace zumra::check
