#pragma once

/// How a check is written and registered. A new check is these lines, and its name in the suite's list:
///
///     CHECK(server_answers) {
///         fail_unless(Ask() == "yes");
///     }
///
///     const TestCase kAll = {
///         "all",
///         {
///             server_answers,
///         },
///     };
///
///     Suite* ServerTests() { return BuildSuite("ServerTests", {kAll}); }
///
/// A check's name is the one that is reported, its place that of the line with CHECK. An exception that
/// escapes the body fails the check. Include this header last, see CheckAssertions.h.

#include <chrono>
#include <vector>

#include "CheckAssertions.h"

#define CHECK(name)                                                        \
    static void name##_body();                                             \
    static void name##_run(int) {                                          \
        ::zumra::tests::RunCheck(__FILE__, __LINE__, name##_body);         \
    }                                                                      \
    static const TTest name[] = {{#name, name##_run, __FILE__, __LINE__}}; \
    static void name##_body()

namespace zumra::tests {

/// What CHECK (one check) or a family (one check a mode) defines, as a suite lists it.
class Checks {
public:
    template <std::size_t count>
    constexpr Checks(const TTest (&checks)[count]) : _begin(checks), _end(checks + count) {}

    [[nodiscard]] const TTest* begin() const { return _begin; }
    [[nodiscard]] const TTest* end() const { return _end; }

private:
    const TTest* _begin;
    const TTest* _end;
};

struct TestCase {
    const char* name;
    std::vector<Checks> checks;
    /// For each check of the test case; zero: Check's default.
    std::chrono::seconds timeout = std::chrono::seconds::zero();
};

/// A new suite with these test cases and checks, in this order. The names are kept, not copied.
Suite* BuildSuite(const char* name, const std::vector<TestCase>& testCases);

/// Runs a check's body in the exception guard.
void RunCheck(const char* file, int line, void (*body)());

}  // namespace zumra::tests
