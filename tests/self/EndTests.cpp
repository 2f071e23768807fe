#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "CheckFrame.h"
#include "self/Suites.h"

/// Checks that end their process, or do not end at all; each is followed by one that passes.
namespace zumra::tests {

namespace {

using std::chrono::seconds;

CHECK(passes) {
    fail_unless(true);
}

[[noreturn]] void Hang() {
    std::puts("hanging");
    std::fflush(stdout);
    for (;;)
        pause();
}

/// Uses a page of stack a level.
int OverflowStack(int levels) {
    volatile char page[4096];
    page[0] = static_cast<char>(levels);
    return levels == 0 ? 0 : OverflowStack(levels - 1) + page[0];
}

CHECK(exits_with_0) {  // reported
    std::exit(0);
}

CHECK(exits_with_3) {  // reported
    std::exit(3);
}

CHECK(exits_on_another_thread) {  // reported
    std::thread([] { std::exit(0); }).join();
}

CHECK(exits_quickly) {  // reported
    std::quick_exit(0);
}

CHECK(exits_at_once) {
    mark_point();  // reported
    _exit(0);
}

CHECK(crashes) {
    mark_point();  // reported
    raise(SIGSEGV);
}

CHECK(overflows_its_stack) {  // reported
    fail_unless(OverflowStack(1 << 20) == 0);
}

CHECK(aborts) {  // reported
    std::abort();
}

CHECK(hangs) {  // reported
    Hang();
}

CHECK(hangs_by_default) {  // reported
    Hang();
}

CHECK(hangs_with_blocked_signals) {  // reported
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    Hang();
}

CHECK(hangs_after_failure) {
    struct HangsInDestructor {
        ~HangsInDestructor() { Hang(); }
    };
    const HangsInDestructor object;
    fail("before the hang");  // reported
}

CHECK(overflows_a_threads_stack) {  // reported
    std::thread([] { fail_unless(OverflowStack(1 << 20) == 0); }).join();
}

CHECK(is_alarmed) {  // reported
    raise(SIGALRM);
}

CHECK(is_killed) {  // reported
    raise(SIGKILL);
}

CHECK(becomes_another_program) {  // reported
    execl("/bin/true", "true", nullptr);
}

/// A file of the environment's is longer by a byte each time.
CHECK(fails_the_third_time) {
    const char* const path = std::getenv("COUNTER");
    fail_if(path == nullptr);
    std::FILE* const counter = std::fopen(path, "a");
    fail_if(counter == nullptr);
    std::fputc('.', counter);
    const long times = std::ftell(counter);
    std::fclose(counter);
    fail_unless(times != 3, "the third time");
}

CHECK(leaves_a_thread) {  // reported
    std::thread([] { Hang(); }).detach();
}

CHECK(lets_a_thread_come_to_its_end) {
    std::thread([] { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }).detach();
}

CHECK(joins_its_threads) {
    for (int i = 0; i < 20; ++i)
        std::thread([] {}).join();
}

}  // namespace

Suite* ExitTests() {
    return BuildSuite("ExitTests", {{"all", {exits_with_0, exits_with_3, exits_on_another_thread, passes}}});
}

Suite* QuickExitTests() {
    return BuildSuite("QuickExitTests", {{"all", {exits_quickly, passes}}});
}

Suite* UnderscoreExitTests() {
    return BuildSuite("UnderscoreExitTests", {{"all", {exits_at_once, passes}}});
}

Suite* CrashTests() {
    return BuildSuite("CrashTests", {{"all", {crashes, passes}}});
}

Suite* StackOverflowTests() {
    return BuildSuite("StackOverflowTests", {{"all", {overflows_its_stack, passes}}});
}

Suite* AbortTests() {
    return BuildSuite("AbortTests", {{"all", {aborts, passes}}});
}

Suite* HangTests() {
    return BuildSuite("HangTests", {{"short", {hangs}, seconds(1)}, {"all", {passes}}});
}

Suite* BlockedHangTests() {
    return BuildSuite("BlockedHangTests",
                      {{"short", {hangs_with_blocked_signals}, seconds(1)}, {"all", {passes}}});
}

Suite* DefaultTimeoutTests() {
    return BuildSuite("DefaultTimeoutTests", {{"all", {hangs_by_default, passes}}});
}

Suite* FailThenHangTests() {
    return BuildSuite("FailThenHangTests", {{"short", {hangs_after_failure}, seconds(1)}, {"all", {passes}}});
}

Suite* ThreadOverflowTests() {
    return BuildSuite("ThreadOverflowTests", {{"all", {overflows_a_threads_stack, passes}}});
}

Suite* AlarmTests() {
    return BuildSuite("AlarmTests", {{"all", {is_alarmed, passes}}});
}

Suite* KillTests() {
    return BuildSuite("KillTests", {{"all", {is_killed, passes}}});
}

Suite* ExecTests() {
    return BuildSuite("ExecTests", {{"all", {becomes_another_program, passes}}});
}

Suite* RoundTests() {
    return BuildSuite("RoundTests", {{"all", {fails_the_third_time}}});
}

Suite* LeftThreadTests() {
    return BuildSuite("LeftThreadTests",
                      {{"all", {leaves_a_thread, joins_its_threads, lets_a_thread_come_to_its_end, passes}}});
}

}  // namespace zumra::tests
