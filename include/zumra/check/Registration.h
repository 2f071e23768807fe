#pragma once

#include "zumra/Export.h"

namespace zumra::check {

/// A check as its suite's builder adds it. The texts are kept, not copied; `name` is the very pointer that
/// the check framework is given as the check's name.
struct CheckDescription {
    const char* suite;
    const char* testCase;
    const char* name;
    /// What the check may take; zero stands for the framework's default.
    double timeoutSeconds = 0;
};

/// Called by a suite's builder for each check, before it adds the check to its test case; false: do not add
/// it, because the command line leaves it out or because the suite is built only to see what is in it.
/// Checks that are added without this call are neither listed nor filtered.
///
/// Thread-safety: the thread of the entry point, before the run.
[[nodiscard]] ZUMRA_EXPORT bool RegisterCheck(const CheckDescription& check);

/// To be made the unchecked setup of each test case. Undoes what the program inherited (an ignored SIGCHLD, a
/// blocked SIGALRM) and what Check did to its signals, where either would end in a hang or in the death of
/// the calling shell: SIGINT and SIGTERM end this program alone, and a forked check with it.
ZUMRA_EXPORT void PrepareTestCase();

}  // namespace zumra::check
