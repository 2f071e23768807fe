#include "zumra/check/Runner.h"

int main(int argc, char** argv) {
    SRunner* runner = nullptr;
    zu_check_cfg cfg;
    if (!__zu_check_parse_cmdline(argc, argv, &cfg, nullptr))
        return 1;
    for (const zu_check_suite* suite = __zu_check_suites; suite->name != nullptr; ++suite)
        __zu_check_add_suite_if_enabled(&runner, suite->name, suite->builder, &cfg, srunner_create,
                                        srunner_add_suite);
    if (runner == nullptr) {
        __zu_check_destroy_cfg(&cfg);
        return 0;
    }
    srunner_set_fork_status(runner, cfg.fork_status);
    if (cfg.xml_path != nullptr)
        srunner_set_xml(runner, cfg.xml_path);
    srunner_run_all(runner, cfg.print_mode);
    const int failed = srunner_ntests_failed(runner);
    srunner_free(runner);
    __zu_check_destroy_cfg(&cfg);
    return failed != 0 ? 1 : 0;
}
