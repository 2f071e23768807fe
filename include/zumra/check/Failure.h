#pragma once

#include <string>

#include "zumra/Export.h"

namespace zumra::check {

/// Fails the running check with `message`, reported at `file` and `line` as a failed assertion is, and leaves
/// the check: never returns. Texts over 4,000 bytes are cut (at a character's start); a NUL shows as "\0";
/// percent signs mean nothing here. Both arguments are copied.
///
/// The check is left by an exception of a private type, so that everything it owns is destroyed before the
/// failure is reported. Code in between that swallows it with `catch (...)` does not save the check: the
/// first failure of a check is noted when it is made, and reported when its body has ended, however it ended.
///
/// Thread-safety: may be called on any thread while a check runs; on a thread of the library under check
/// the exception unwinds that thread's call. When nothing there catches it, the check ends with this failure
/// (see `RunGuarded`). Outside `RunGuarded` the failure goes to Check at once and nothing is unwound.
///
///     if (count != 3) FailOnLine("three were expected", __FILE__, __LINE__);
[[noreturn]] ZUMRA_EXPORT void FailOnLine(const std::string& message, const char* file, int line);

/// The failure text for two strings that should have been equal: "expected: ", `expected`, " but got: ",
/// `actual`. Strings that are too long for one failure text are shown around their first difference, "..."
/// standing for what is left out.
///
/// Thread-safety: any thread.
ZUMRA_EXPORT std::string CreateMismatchedStringErrorMessage(const std::string& expected,
                                                            const std::string& actual);

}  // namespace zumra::check
