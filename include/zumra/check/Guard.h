#pragma once

#include "zumra/Export.h"

namespace zumra::check {

/// Calls `body(argument)` as the body of the running check, and reports what went wrong in it, once, when
/// everything the body owned is destroyed. `file` and `line` are the place of the check's definition; they
/// must outlive the call. Reported is the first of these, with the text in quotes:
///   - a failure made with `FailOnLine`, on whatever thread, at its own place;
///   - an escaping exception derived from `std::exception`: its `what()`, at the check's place;
///   - any other escaping exception: "unknown exception occurred", at the check's place.
///
/// Does not return after a failure: Check ends the check's process, or jumps back to its runner when it does
/// not fork. The caller must therefore own nothing that has a destructor.
///
/// Thread-safety: one check at a time.
ZUMRA_EXPORT void RunGuarded(const char* file, int line, void (*body)(void*), void* argument);

}  // namespace zumra::check
