#include "zumra-settingsd/HeldSignals.h"

#include <signal.h>

#include <initializer_list>

namespace zumra::settingsd {

namespace {

sigset_t Held() {
    sigset_t signals;
    ::sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ::sigaddset(&signals, signal);
    }
    return signals;
}

}  // namespace

void HeldSignals::Hold() {
    const sigset_t signals = Held();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

bool HeldSignals::StopIsPending() {
    sigset_t pending;
    ::sigemptyset(&pending);
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGTERM) == 1 || ::sigismember(&pending, SIGINT) == 1;
}

void HeldSignals::Release() {
    const sigset_t signals = Held();
    ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace zumra::settingsd
