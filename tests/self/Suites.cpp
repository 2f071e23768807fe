#include "self/Suites.h"

#define SUITE(name) \
    { #name, zumra::tests::name }

// clang-format off
const zu_check_suite __zu_check_suites[] = {
    SUITE(FormTests),
    SUITE(EqualityTests),
    SUITE(ExceptionTests),
    SUITE(TextTests),
    SUITE(ModeTests),
    SUITE(UnwindingTests),
    SUITE(LeftThreadTests),
    SUITE(TerminateTests),
    SUITE(ForeignThreadTests),
    SUITE(ExitTests),
    SUITE(QuickExitTests),
    SUITE(UnderscoreExitTests),
    SUITE(CrashTests),
    SUITE(StackOverflowTests),
    SUITE(AbortTests),
    SUITE(ThreadOverflowTests),
    SUITE(AlarmTests),
    SUITE(KillTests),
    SUITE(ExecTests),
    SUITE(RoundTests),
    SUITE(HangTests),
    SUITE(BlockedHangTests),
    SUITE(DefaultTimeoutTests),
    SUITE(FailThenHangTests),
    SUITE(EmptyTests),
    {nullptr, nullptr},
};
// clang-format on
