#include "check/Watchdog.h"

#include <signal.h>
#include <unistd.h>

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
            RunningCheck::WriteEnd(crash.text);
    RestoreCrashActions();
    raise(signal);
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
    const char* const text = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody writes it in a run
    if (text == nullptr)
        return otherwise;
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    return value >= 0 && end != text && *end == '\0' ? value : otherwise;
}

}  // namespace

Watchdog::Watchdog(Seconds allowed) {
    UseHandlerStack();
    const struct sigaction onCrash = Action(OnCrash);
    for (Crash& crash : crashes)
        sigaction(crash.signal, &onCrash, &crash.previous);
    // Check's own handler would kill the whole process group.
    signal(SIGALRM, SIG_DFL);
    if (allowed <= Seconds::zero())
        return;
    const auto duration = std::chrono::duration_cast<std::chrono::steady_clock::duration>(allowed);
    const auto deadline = std::chrono::steady_clock::now() + duration;
    _thread = std::thread([this, deadline] { EndWhenLate(deadline); });
}

Watchdog::~Watchdog() {
    if (_thread.joinable()) {
        {
            const osa::MutexLock lock(_mutex);
            _hasEnded = true;
        }
        _ended.NotifyOne();
        _thread.join();
    }
    RestoreCrashActions();
}

void Watchdog::EndWhenLate(std::chrono::steady_clock::time_point deadline) {
    const osa::MutexLock lock(_mutex);
    while (!_hasEnded) {
        if (_ended.WaitUntil(_mutex, deadline) || std::chrono::steady_clock::now() < deadline)
            continue;
        RunningCheck::WriteEnd("Test timeout expired");
        _exit(1);
    }
}

Watchdog::Seconds AllowedTime(Watchdog::Seconds ownTimeout) {
    const bool hasOwn = ownTimeout > Watchdog::Seconds::zero();
    return (hasOwn ? ownTimeout : Watchdog::Seconds(Variable("CK_DEFAULT_TIMEOUT", kDefaultSeconds))) *
           Variable("CK_TIMEOUT_MULTIPLIER", 1);
}

}  // namespace zumra::check
