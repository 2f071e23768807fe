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
#include "check/Journal.h"
#include "check/Registry.h"
#include "zumra/check/Runner.h"

namespace zumra::check {

namespace {

pid_t runnerProcess = getpid();

std::atomic<bool> isRunning{false};
std::terminate_handler previousTerminate = nullptr;
const char* definitionFile = "";
int definitionLine = 0;
/// "FILE:LINE" of the definition, and what follows the kind of result in Check's report.
char place[600] = "";
char name[600] = "";

void SetNames(const char* file, int line) {
    definitionFile = file;
    definitionLine = line;
    const CheckDescription* const check = registry.Find(tcase_name());
    std::snprintf(place, sizeof place, "%s:%d", file, line);
    std::snprintf(name, sizeof name, ":%s:%s:0: ", check == nullptr ? "" : check->testCase, tcase_name());
}

void OnTerminate() {
    if (isRunning && firstFailure.IsSet())
        RunningCheck::End();
    previousTerminate();
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

void WriteLine(const char* where, const char* kind, const char* text) noexcept {
    const char* const parts[] = {where, kind, name, text, "\n"};
    for (const char* part : parts)
        Write(part);
}

void WriteFirstFailure() noexcept {
    if (firstFailure.IsSet())
        WriteLine(firstFailure.Place(), ":F", firstFailure.Text());
}

}  // namespace

RunningCheck::RunningCheck(const char* file, int line) {
    SetNames(file, line);
    WatchExits();
    NoteForkedCheckBegins();
    if (!IsForkedCheck())
        journal.Write(Journal::Event::kDefined, place);
    previousTerminate = std::set_terminate(OnTerminate);
    isRunning = true;
}

RunningCheck::~RunningCheck() {
    isRunning = false;
    std::set_terminate(previousTerminate);
    NoteForkedCheckEnds();
}

bool RunningCheck::Exists() noexcept {
    return isRunning;
}

void RunningCheck::End() {
    isRunning = false;
    if (IsForkedCheck())
        firstFailure.Report();
    journal.Write(Journal::Event::kBroken, "F", "", firstFailure.Place(), firstFailure.Text());
    WriteFirstFailure();
    _exit(1);
}

void RunningCheck::WriteEnd(const char* text) noexcept {
    journal.Write(Journal::Event::kBroken, "E", "", place, text);
    WriteLine(place, ":E", text);
    WriteFirstFailure();
}

bool IsForkedCheck() {
    return getpid() != runnerProcess;
}

void BecomeRunner() {
    runnerProcess = getpid();
}

}  // namespace zumra::check
