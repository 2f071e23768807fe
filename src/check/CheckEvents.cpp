#include "check/CheckEvents.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "check/ColoredReport.h"
#include "check/Journal.h"
#include "check/StandardStreams.h"
#include "zumra/check/Runner.h"

// Check has no operation to follow a run with. What its runner calls for its reports, it calls by way of
// these functions instead; their real forms are Check's.
static_assert(CHECK_MAJOR_VERSION == 0 && CHECK_MINOR_VERSION == 15,
              "the forms below are those of Check 0.15");

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): Check's and the linker's
extern "C" {
struct TF;
void __real_log_suite_start(SRunner* runner, Suite* suite);
void __wrap_log_suite_start(SRunner* runner, Suite* suite);
void __real_log_test_start(SRunner* runner, TCase* testCase, TF* test);
void __wrap_log_test_start(SRunner* runner, TCase* testCase, TF* test);
void __real_log_test_end(SRunner* runner, TestResult* result);
void __wrap_log_test_end(SRunner* runner, TestResult* result);
void __real_srunner_end_logging(SRunner* runner);
void __wrap_srunner_end_logging(SRunner* runner);
void __real_srunner_fprint(FILE* file, SRunner* runner, print_output mode);
void __wrap_srunner_fprint(FILE* file, SRunner* runner, print_output mode);
int __real_fclose(FILE* file);
int __wrap_fclose(FILE* file);
void log_suite_end(SRunner* runner, Suite* suite);
void log_srunner_end(SRunner* runner);
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace zumra::check {

RunOptions runOptions;

namespace {

using Clock = std::chrono::steady_clock;
using Event = Journal::Event;

Suite* currentSuite = nullptr;
std::chrono::microseconds checkStart{};
/// While Check closes its logs.
bool isEndingLogs = false;
bool hasLostLog = false;

/// A suite and a test case begin with their names.
const char* NameOf(const void* named) {
    return *static_cast<const char* const*>(named);
}

/// Check's record of a registered check begins with what was registered.
const TTest& TestOf(const TF* test) {
    return **reinterpret_cast<const TTest* const*>(test);
}

std::chrono::microseconds Now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch());
}

const char* Letter(int outcome) {
    return outcome == CK_PASS ? "P" : outcome == CK_FAILURE ? "F" : "E";
}

void WriteEnd(TestResult* result) {
    const char* const file = tr_lfile(result);
    const std::string place = file == nullptr ? "" : file + (":" + std::to_string(tr_lno(result)));
    const bool passed = tr_rtype(result) == CK_PASS;
    const char* const text = passed || tr_msg(result) == nullptr ? "" : tr_msg(result);
    journal.Write(Event::kEnded, Letter(tr_rtype(result)),
                  std::to_string((Now() - checkStart).count()).c_str(), place.c_str(), text);
}

/// Check has no way to stop: what it would do after the last check is done now.
[[noreturn]] void EndRun(SRunner* runner) {
    log_suite_end(runner, currentSuite);
    log_srunner_end(runner);
    __wrap_srunner_end_logging(runner);
    std::exit(EXIT_FAILURE);  // NOLINT(concurrency-mt-unsafe): the runner has one thread
}

}  // namespace

}  // namespace zumra::check

using namespace zumra::check;

void __wrap_log_suite_start(SRunner* runner, Suite* suite) {
    currentSuite = suite;
    __real_log_suite_start(runner, suite);
}

void __wrap_log_test_start(SRunner* runner, TCase* testCase, TF* test) {
    __real_log_test_start(runner, testCase, test);
    checkStart = Now();
    journal.Write(Event::kStarted, NameOf(currentSuite), NameOf(testCase), TestOf(test).name,
                  std::to_string(checkStart.count()).c_str());
}

void __wrap_log_test_end(SRunner* runner, TestResult* result) {
    WriteEnd(result);
    __real_log_test_end(runner, result);
    if (runOptions.failFast && tr_rtype(result) != CK_PASS)
        EndRun(runner);
}

/// Check tries no log that it has written.
int __wrap_fclose(FILE* file) {
    if (isEndingLogs && ferror(file) != 0)
        hasLostLog = true;
    return __real_fclose(file);
}

void __wrap_srunner_end_logging(SRunner* runner) {
    const std::string path = srunner_has_xml(runner) != 0 ? srunner_xml_fname(runner) : "";
    isEndingLogs = true;
    __real_srunner_end_logging(runner);
    isEndingLogs = false;
    journal.Write(Event::kFinished);
    try {
        RequireWrittenOutput();
        if (hasLostLog)
            throw std::runtime_error("cannot write all of the XML log '" + path + "'");
    } catch (const std::runtime_error& e) {
        std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, e.what());
        std::exit(EXIT_FAILURE);  // NOLINT(concurrency-mt-unsafe): the runner has one thread
    }
}

void __wrap_srunner_fprint(FILE* file, SRunner* runner, print_output mode) {
    if (!runOptions.inColor || file != stdout)
        return __real_srunner_fprint(file, runner, mode);
    char* text = nullptr;
    std::size_t size = 0;
    FILE* const memory = open_memstream(&text, &size);
    if (memory == nullptr)
        return __real_srunner_fprint(file, runner, mode);
    __real_srunner_fprint(memory, runner, mode);
    __real_fclose(memory);
    const std::string colored = InColor({text, size});
    std::fwrite(colored.data(), 1, colored.size(), file);
    std::free(text);
}
