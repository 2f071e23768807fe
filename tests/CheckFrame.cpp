#include "CheckFrame.h"

#include "zumra/check/Guard.h"
#include "zumra/check/Registration.h"

namespace zumra::tests {

namespace {

TCase* BuildTestCase(const char* suite, const TestCase& testCase) {
    TCase* const result = tcase_create(testCase.name);
    const auto seconds = static_cast<double>(testCase.timeout.count());
    if (seconds > 0)
        tcase_set_timeout(result, seconds);
    tcase_add_unchecked_fixture(result, check::PrepareTestCase, nullptr);
    for (const Checks& checks : testCase.checks)
        for (const TTest& one : checks)
            if (check::RegisterCheck({suite, testCase.name, one.name, seconds}))
                tcase_add_test(result, &one);
    return result;
}

}  // namespace

Suite* BuildSuite(const char* name, const std::vector<TestCase>& testCases) {
    Suite* const suite = suite_create(name);
    for (const TestCase& testCase : testCases)
        suite_add_tcase(suite, BuildTestCase(name, testCase));
    return suite;
}

void RunCheck(const char* file, int line, void (*body)()) {
    check::RunGuarded(
        file, line, [](void* argument) { (*static_cast<void (**)()>(argument))(); }, &body);
}

}  // namespace zumra::tests
