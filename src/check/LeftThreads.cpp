#include "check/LeftThreads.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace zumra::check {

namespace {

using Clock = std::chrono::steady_clock;

/// Far above what the kernel needs to take a joined thread off its list, far below a check's time-out.
constexpr std::chrono::seconds kGrace{1};

/// The ids of this process's threads, ascending; none where /proc cannot be read.
std::vector<long> RunningThreads() {
    std::vector<long> ids;
    std::error_code error;
    std::filesystem::directory_iterator task("/proc/self/task", error);
    for (; !error && task != std::filesystem::directory_iterator(); task.increment(error))
        ids.push_back(std::atol(task->path().filename().c_str()));
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::size_t CountNew(const std::vector<long>& before, const std::vector<long>& now) {
    return static_cast<std::size_t>(std::count_if(now.begin(), now.end(), [&before](long id) {
        return !std::binary_search(before.begin(), before.end(), id);
    }));
}

/// The thread sanitizer starts a thread of its own with the program's first one.
void StartSanitizersThread() {
#if defined(__SANITIZE_THREAD__)
    std::thread([] {}).join();
#endif
}

}  // namespace

LeftThreads::LeftThreads() {
    StartSanitizersThread();
    _before = RunningThreads();
}

std::size_t LeftThreads::Count() const {
    const Clock::time_point deadline = Clock::now() + kGrace;
    for (;;) {
        const std::size_t left = CountNew(_before, RunningThreads());
        if (left == 0 || Clock::now() >= deadline)
            return left;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

}  // namespace zumra::check
