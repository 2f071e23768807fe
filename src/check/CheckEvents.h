#pragma once

namespace zumra::check {

/// What the library adds to a run of Check's by standing between Check's runner and its reports.
struct RunOptions {
    /// Ends the run, as if there were no more checks, and the program with status 1, at the first that fails.
    bool failFast = false;
    /// Shows the report in colours.
    bool inColor = false;
};

/// Those of the run to come: Check's runner gives no context.
extern RunOptions runOptions;

}  // namespace zumra::check
