#pragma once

#include "zumra/Export.h"

namespace zumra::check {

/// Calls `body(argument)` as the body of the running check, and reports what went wrong in it, once, when
/// everything the body owned is destroyed. `file` and `line` are the place of the check's definition; they
/// must outlive the call. Reported is the first of these, with the text in quotes:
///   - a failure made with `FailOnLine`, on whatever thread, at its own place;
///   - an escaping exception derived from `std::exception`: its `what()`, at the check's place;
///   - any other escaping exception: "unknown exception occurred", at the check's place;
///   - the end of the program in the middle of the body: "the check ended the program with exit(<status>)",
///   or
///     "... with quick_exit", or "the check ended its process with _exit(0)";
///   - threads that the body started and that still run a second after its end: "the check left <n> running
///   thread(s)
///     behind".
///
/// A check that Check did not fork has no process of its own to be ended: what would end it ends the run,
/// with a line on standard error in the form of Check's report. That is so for a crash and any other signal
/// (of which the program dies), for running out of the time that Check allows a forked check (status 1), for
/// `exit`, `_exit` and `exec` (status 1), and for a failure where no exception may pass: in a `noexcept`
/// function, or on a thread that does not catch it (status 1). Under a debugger, which the run is left alone
/// with, an `_exit`, an `exec`, and a signal that cannot be caught end it without the line.
///
/// Does not return after a failure: Check ends the check's process, or jumps back to its runner when it does
/// not fork. The caller must therefore own nothing that has a destructor.
///
/// Thread-safety: one check at a time.
ZUMRA_EXPORT void RunGuarded(const char* file, int line, void (*body)(void*), void* argument);

}  // namespace zumra::check
