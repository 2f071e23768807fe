#include <cstdlib>
#include <iostream>
#include <string>

#include "zumra/check/Failure.h"
#include "zumra/check/Guard.h"
#include "zumra/check/Runner.h"

START_TEST(Passes) {
    zumra::check::RunGuarded(
        __FILE__, __LINE__, [](void*) {}, nullptr);
}
END_TEST

START_TEST(Fails) {
    const auto body = [](void*) {
        zumra::check::FailOnLine(zumra::check::CreateMismatchedStringErrorMessage("80", "50"), "check.cpp",
                                 17);
    };
    zumra::check::RunGuarded(__FILE__, __LINE__, body, nullptr);
}
END_TEST

Suite* ConsumerTests() {
    TCase* testCase = tcase_create("Tests");
    tcase_add_test(testCase, Passes);
    tcase_add_test(testCase, Fails);
    Suite* suite = suite_create("ConsumerTests");
    suite_add_tcase(suite, testCase);
    return suite;
}

const zu_check_suite __zu_check_suites[] = {{"ConsumerTests", ConsumerTests}, {nullptr, nullptr}};

/// One check passed and one failed, with its text and place.
bool IsAsExpected(SRunner* runner) {
    if (srunner_ntests_run(runner) != 2 || srunner_ntests_failed(runner) != 1) {
        return false;
    }
    TestResult** failures = srunner_failures(runner);
    const std::string text = tr_msg(failures[0]);
    const std::string file = tr_lfile(failures[0]);
    const bool expected =
        text == "expected: 80 but got: 50" && file == "check.cpp" && tr_lno(failures[0]) == 17;
    if (!expected) {
        std::cerr << file << ':' << tr_lno(failures[0]) << ": " << text << '\n';
    }
    free(failures);
    return expected;
}

int main(int argc, char** argv) {
    zu_check_cfg cfg;
    SRunner* runner = nullptr;
    if (!__zu_check_parse_cmdline(argc, argv, &cfg, nullptr)) {
        return 1;
    }
    __zu_check_add_suite_if_enabled(&runner, "ConsumerTests", ConsumerTests, &cfg, srunner_create,
                                    srunner_add_suite);
    if (runner == nullptr) {
        return 1;
    }
    srunner_set_fork_status(runner, cfg.fork_status);
    srunner_run_all(runner, cfg.print_mode);
    const bool expected = IsAsExpected(runner);
    srunner_free(runner);
    __zu_check_destroy_cfg(&cfg);
    return expected ? 0 : 1;
}
