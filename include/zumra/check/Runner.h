#pragma once

/// The operations with which a check program's entry point turns its command line into a run of Check's
/// suites. For C and C++. A program's `main` makes these calls, and no others, in this order:
///
///     SRunner* runner = NULL;
///     zu_check_cfg cfg;
///     if (!__zu_check_parse_cmdline(argc, argv, &cfg, NULL)) return 1;
///     __zu_check_add_suite_if_enabled(&runner, "MyTests", MyTests, &cfg, srunner_create, srunner_add_suite);
///     ...                                                           the other suites
///     if (runner != NULL) { ...set fork status and XML log from cfg, srunner_run_all, srunner_free... }
///     __zu_check_destroy_cfg(&cfg);
///
/// The library holds the one copy of Check; a program links `Zumra::check` and not Check itself.
/// Thread-safety: call from one thread, before the program has others.

#include <check.h>

#include "zumra/Export.h"

// The names are given.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming,modernize-redundant-void-arg)

#ifdef __cplusplus
// Check's deprecated forms, whose names no header of the C++ library survives.
#undef fail
#undef fail_if
#undef fail_unless

extern "C" {
#endif

/// Makes a new Check suite; the caller owns it.
typedef Suite* (*zu_check_builder)(void);

/// One suite that a program has.
typedef struct zu_check_suite {
    const char* name;
    zu_check_builder builder;
} zu_check_suite;

/// What the command line asks for. Filled by `__zu_check_parse_cmdline`, not to be copied.
typedef struct zu_check_cfg {
    /// For `srunner_run_all`.
    enum print_output print_mode;
    /// For `srunner_set_fork_status`.
    enum fork_status fork_status;
    /// For `srunner_set_xml`; null when no XML log is wanted. Owned by the record.
    const char* xml_path;
    /// The library's own.
    struct zu_check_selection* selection;
} zu_check_cfg;

/// The suites that the program has, in the order in which it offers them, ended by an entry with a null name.
/// The program defines it; the library looks here for the names that the command line may give and that
/// `--list` shows. A program may leave it out: any suite name is then accepted.
extern ZUMRA_EXPORT const zu_check_suite __zu_check_suites[];

/// Reads the command line and fills `cfg`. `reserved` is null. False when the command line is rejected: the
/// reason is on standard error, nothing is owed, and the program should end with status 1. After `--help`,
/// `--list` and
/// `--version` the answer is on standard output and `cfg` enables no suite.
ZUMRA_EXPORT int __zu_check_parse_cmdline(int argc, char** argv, zu_check_cfg* cfg, void* reserved);

/// When `cfg` enables the suite `name`: calls `builder` and gives the suite to `*runner`, which `create`
/// makes from the first suite and `add` extends by later ones. Otherwise calls nothing and leaves `*runner`
/// as it is.
ZUMRA_EXPORT void __zu_check_add_suite_if_enabled(SRunner** runner, const char* name,
                                                  zu_check_builder builder, zu_check_cfg* cfg,
                                                  SRunner* (*create)(Suite*), void (*add)(SRunner*, Suite*));

/// Releases what `__zu_check_parse_cmdline` allocated. Call once, after the run.
ZUMRA_EXPORT void __zu_check_destroy_cfg(zu_check_cfg* cfg);

#ifdef __cplusplus
}
#endif

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming,modernize-redundant-void-arg)
