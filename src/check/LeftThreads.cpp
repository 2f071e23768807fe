#include "check/LeftThreads.h"

#include <dirent.h>

#include <chrono>
#include <memory>
#include <thread>

namespace zumra::check {

namespace {

using Clock = std::chrono::steady_clock;

/// Far above what the kernel needs to take a joined thread off its list, far below a check's time-out.
constexpr std::chrono::seconds kGrace{1};

/// The threads of this process; 0 where /proc cannot be read.
std::size_t CountThreads() {
    const std::unique_ptr<DIR, int (*)(DIR*)> tasks(opendir("/proc/self/task"), closedir);
    std::size_t count = 0;
    while (const dirent* entry = tasks ? readdir(tasks.get()) : nullptr)
        count += entry->d_name[0] == '.' ? 0 : 1;
    return count;
}

/// The thread sanitizer starts a thread of its own with the program's first one.
void StartSanitizersThread() {
#if defined(__SANITIZE_THREAD__)
    std::thread([] {}).join();
#endif
}

}  // namespace

LeftThreads::LeftThreads() : _before((StartSanitizersThread(), CountThreads())) {}

std::size_t LeftThreads::Count() const {
    const Clock::time_point deadline = Clock::now() + kGrace;
    for (;;) {
        const std::size_t now = CountThreads();
        if (now <= _before)
            return 0;
        if (Clock::now() >= deadline)
            return now - _before;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace zumra::check
