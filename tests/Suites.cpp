#include "Suites.h"

#include "zumra/check/Runner.h"

// clang-format off
#define SUITE(name) {#name, zumra::tests::name},
/// The program that runs checks on a daemon has those suites alone that use a client.
#ifdef ZUMRA_CHECKS_ON_DAEMON
#define SUITE_WITHOUT_CLIENT(name)
#else
#define SUITE_WITHOUT_CLIENT(name) SUITE(name)
#endif

/// Client layer first, then common layer; this is the order in which the suites run.
const zu_check_suite __zu_check_suites[] = {
    SUITE_WITHOUT_CLIENT(CommandTests)
    SUITE(IniWatcherTests)
    SUITE(ZumraSettingsClientImplLocalTests)
    SUITE(ZumraSettingsClientImplMultiThreadedTests)
    SUITE(ZumraSettingsClientTests)
    SUITE(ResourceManagerTests)
    SUITE(ResourceReserverTests)
    SUITE(SettingsWatcherTests)
    SUITE(SubscribeTests)
    SUITE(TestAndMergeTests)
    SUITE_WITHOUT_CLIENT(CallbackDispatcherTests)
    SUITE_WITHOUT_CLIENT(ClientHandlerTests)
    SUITE_WITHOUT_CLIENT(GroupNameMatcherTests)
    SUITE_WITHOUT_CLIENT(LoadPriorityIncludeFilterTests)
    SUITE_WITHOUT_CLIENT(PhpArraySettingsSerializerTests)
    {nullptr, nullptr},
};
// clang-format on
