#include "check/Watchdog.h"

#include <unistd.h>

#include <cmath>
#include <cstdlib>

#include "check/RunningCheck.h"

namespace zumra::check {

namespace {

constexpr double kDefaultSeconds = 4;  // Check's

struct Crash {
    int signal;
    const char* text;
    /// What the signal did before.
    struct sigaction previous;
};

/// Static, and with texts that are ready to be written, for the handler.
Crash crashes[] = {
    {SIGSEGV, "Received signal 11 (Segmentation fault)", {}},
    {SIGBUS, "Received signal 7 (Bus error)", {}},
    {SIGFPE, "Received signal 8 (Floating point exception)", {}},
    {SIGILL, "Received signal 4 (Illegal instruction)", {}},
    {SIGABRT, "Received signal 6 (Aborted)", {}},
    {SIGSYS, "Received signal 31 (Bad system call)", {}},
    {SIGTRAP, "Received signal 5 (Trace/breakpoint trap)", {}},
    {SIGPIPE, "Received signal 13 (Broken pipe)", {}},
};

/// A stack overflow leaves no room for a handler on the check's own stack.
alignas(16) char handlerStack[1 << 16];

void RestoreCrashActions() {
    for (const Crash& crash : crashes)
        sigaction(crash.signal, &crash.previous, nullptr);
}

/// Raised again, the signal is delivered when this returns, to whoever it belonged to before.
void OnCrash(int signal) {
    for (const Crash& crash : crashes)
        if (crash.signal == signal)
            RunningCheck::WriteLine(crash.text);
    RestoreCrashActions();
    raise(signal);
}

void OnTimeOut(int /*signal*/) {
    RunningCheck::WriteLine("Test timeout expired");
    _exit(1);
}

void UseHandlerStack() {
    stack_t current;
    sigaltstack(nullptr, &current);
    if ((current.ss_flags & SS_DISABLE) == 0)
        return;
    stack_t own{};
    own.ss_sp = handlerStack;
    own.ss_size = sizeof handlerStack;
    sigaltstack(&own, nullptr);
}

struct sigaction Action(void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    return action;
}

double Variable(const char* name, double otherwise) {
    const char* const text = std::getenv(name);
    if (text == nullptr)
        return otherwise;
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    return value >= 0 && end != text && *end == '\0' ? value : otherwise;
}

}  // namespace

Watchdog::Watchdog(double seconds) {
    UseHandlerStack();
    const struct sigaction onCrash = Action(OnCrash);
    for (Crash& crash : crashes)
        sigaction(crash.signal, &onCrash, &crash.previous);
    const struct sigaction onTimeOut = Action(OnTimeOut);
    sigaction(SIGALRM, &onTimeOut, &_previousAlarm);

    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGALRM;
    _hasTimer = seconds > 0 && timer_create(CLOCK_MONOTONIC, &event, &_timer) == 0;
    if (!_hasTimer)
        return;
    itimerspec once{};
    once.it_value.tv_sec = static_cast<time_t>(seconds);
    once.it_value.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
    timer_settime(_timer, 0, &once, nullptr);
}

Watchdog::~Watchdog() {
    if (_hasTimer)
        timer_delete(_timer);
    sigaction(SIGALRM, &_previousAlarm, nullptr);
    RestoreCrashActions();
}

double AllowedSeconds(double seconds) {
    const double allowed = seconds > 0 ? seconds : Variable("CK_DEFAULT_TIMEOUT", kDefaultSeconds);
    return allowed * Variable("CK_TIMEOUT_MULTIPLIER", 1);
}

}  // namespace zumra::check
