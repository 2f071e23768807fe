#include "CheckFrame.h"

#include "zumra/check/Guard.h"

namespace zumra::tests {

namespace {

TCase* BuildTestCase(const TestCase& testCase) {
    TCase* const result = tcase_create(testCase.name);
    if (testCase.timeout > std::chrono::seconds::zero())
        tcase_set_timeout(result, static_cast<double>(testCase.timeout.count()));
    for (const Checks& checks : testCase.checks)
        for (const TTest& check : checks)
            tcase_add_test(result, &check);
    return result;
}

}  // namespace

Suite* BuildSuite(const char* name, std::initializer_list<TestCase> testCases) {
    Suite* const suite = suite_create(name);
    for (const TestCase& testCase : testCases)
        suite_add_tcase(suite, BuildTestCase(testCase));
    return suite;
}

void RunCheck(const char* file, int line, void (*body)()) {
    check::RunGuarded(
        file, line, [](void* argument) { (*static_cast<void (**)()>(argument))(); }, &body);
}

}  // namespace zumra::tests
