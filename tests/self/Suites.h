#pragma once

#include "zumra/check/Runner.h"

/// Suites of checks of which most fail on purpose, to see what is reported then; `self_tests.py` holds what
/// must be. In each check the line that has to be reported ends in "// reported".
namespace zumra::tests {

Suite* FormTests();
Suite* EqualityTests();
Suite* ExceptionTests();
Suite* TextTests();
Suite* ModeTests();
Suite* UnwindingTests();
Suite* LeftThreadTests();
Suite* TerminateTests();
Suite* ForeignThreadTests();
Suite* ExitTests();
Suite* QuickExitTests();
Suite* UnderscoreExitTests();
Suite* CrashTests();
Suite* StackOverflowTests();
Suite* AbortTests();
Suite* ThreadOverflowTests();
Suite* AlarmTests();
Suite* KillTests();
Suite* ExecTests();
Suite* RoundTests();
Suite* HangTests();
Suite* BlockedHangTests();
Suite* DefaultTimeoutTests();
Suite* FailThenHangTests();
Suite* EmptyTests();

}  // namespace zumra::tests
