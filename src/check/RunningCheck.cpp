#include "check/RunningCheck.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "check/FirstFailure.h"
#include "check/ForkedExit.h"
#include "check/Registry.h"
#include "zumra/check/Runner.h"

namespace zumra::check {

namespace {

const pid_t runnerProcess = getpid();

std::atomic<bool> isRunning{false};
const char* definitionFile = "";
int definitionLine = 0;
/// As Check's report begins a check's line.
char lineStart[1000] = "";

void SetPlace(const char* file, int line) {
    definitionFile = file;
    definitionLine = line;
    const char* const name = tcase_name();
    const CheckDescription* const check = registry.Find(name);
    std::snprintf(lineStart, sizeof lineStart, "%s:%d:E:%s:%s:0: ", file, line,
                  check == nullptr ? "" : check->testCase, name);
}

void OnTerminate() {
    if (isRunning && firstFailure.IsSet())
        RunningCheck::End();
    std::abort();
}

void EndByExit(const std::string& call) {
    if (!isRunning)
        return;
    firstFailure.Note("the check ended the program with " + call, definitionFile, definitionLine);
    RunningCheck::End();
}

void OnExit(int status, void* /*argument*/) {
    EndByExit("exit(" + std::to_string(status) + ")");
}

void OnQuickExit() {
    EndByExit("quick_exit");
}

/// Once a process, as late as possible: handlers run in reverse order, ours then before those of static
/// objects.
void WatchExits() {
    static bool isWatching = false;
    if (isWatching)
        return;
    isWatching = true;
    on_exit(OnExit, nullptr);
    std::at_quick_exit(OnQuickExit);
}

void Write(const char* text) noexcept {
    for (std::size_t left = std::strlen(text); left > 0;) {
        const ssize_t written = write(STDERR_FILENO, text, left);
        if (written <= 0)
            return;
        text += written;
        left -= static_cast<std::size_t>(written);
    }
}

}  // namespace

RunningCheck::RunningCheck(const char* file, int line) {
    SetPlace(file, line);
    WatchExits();
    NoteForkedCheckBegins();
    _previousTerminate = std::set_terminate(OnTerminate);
    isRunning = true;
}

RunningCheck::~RunningCheck() {
    isRunning = false;
    std::set_terminate(_previousTerminate);
    NoteForkedCheckEnds();
}

bool RunningCheck::Exists() noexcept {
    return isRunning;
}

void RunningCheck::End() {
    isRunning = false;
    if (IsForkedCheck())
        firstFailure.Report();
    WriteLine("the check ended the run");
    _exit(1);
}

void RunningCheck::WriteLine(const char* text) noexcept {
    Write(lineStart);
    Write(text);
    Write("\n");
    if (firstFailure.IsSet()) {
        Write(lineStart);
        Write(firstFailure.Text());
        Write("\n");
    }
}

bool IsForkedCheck() {
    return getpid() != runnerProcess;
}

}  // namespace zumra::check
