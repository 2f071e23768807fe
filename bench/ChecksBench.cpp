// The check program beside as many empty checks in the same frame, and each in both fork modes.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>

namespace {

using Seconds = std::chrono::duration<double>;

/// How long one run takes; a run that fails is no measurement.
Seconds Run(std::string program, std::string mode, std::string suite) {
    std::string quiet = "-q";
    char* const arguments[] = {program.data(), quiet.data(), mode.data(),
                               suite.empty() ? nullptr : suite.data(), nullptr};
    const auto start = std::chrono::steady_clock::now();
    pid_t process = 0;
    int status = -1;
    if (::posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        ::waitpid(process, &status, 0) != process || status != 0) {
        return Seconds(-1);
    }
    return std::chrono::steady_clock::now() - start;
}

/// The time of all checks, and how many times as long they take as the same number of empty ones.
void AllChecks(benchmark::State& state, const char* mode) {
    Seconds all(0);
    Seconds empty(0);
    for (auto iteration : state) {
        const Seconds ours = Run(ZUMRA_CHECKS_PROGRAM, mode, "");
        const Seconds limit = Run(ZUMRA_SELF_CHECKS_PROGRAM, mode, "EmptyTests");
        if (ours < Seconds(0) || limit < Seconds(0)) {
            state.SkipWithError("a check program failed");
            return;
        }
        state.SetIterationTime(ours.count());
        all += ours;
        empty += limit;
    }
    state.counters["xEmpty"] = all / empty;
}

}  // namespace

BENCHMARK_CAPTURE(AllChecks, forked, "--fork")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(AllChecks, notForked, "--no-fork")->UseManualTime()->Unit(benchmark::kMillisecond);
