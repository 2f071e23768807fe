#include <signal.h>

#include <initializer_list>

#include "check/ForkedExit.h"
#include "zumra/check/Registration.h"

namespace zumra::check {

void PrepareTestCase() {
    // Check waits for a forked check until there is one to wait for: for ever when nobody keeps dead
    // children.
    signal(SIGCHLD, SIG_DFL);
    // Check's handlers kill the whole process group, the calling shell's too when that started no group for
    // us.
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    sigset_t needed;
    sigemptyset(&needed);
    for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGALRM})
        sigaddset(&needed, number);
    pthread_sigmask(SIG_UNBLOCK, &needed, nullptr);
    PrepareForkedExit();
}

}  // namespace zumra::check
