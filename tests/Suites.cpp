#include "Suites.h"

#include "zumra/check/Runner.h"

#define SUITE(name) \
    { #name, zumra::tests::name }

// clang-format off
/// Client layer first, then common layer; this is the order in which the suites run.
const zu_check_suite __zu_check_suites[] = {
    SUITE(CommandTests),
    SUITE(IniWatcherTests),
    SUITE(ZumraSettingsClientImplLocalTests),
    SUITE(ZumraSettingsClientImplMultiThreadedTests),
    SUITE(ZumraSettingsClientTests),
    SUITE(ResourceManagerTests),
    SUITE(ResourceReserverTests),
    SUITE(SettingsWatcherTests),
    SUITE(SubscribeTests),
    SUITE(TestAndMergeTests),
    SUITE(CallbackDispatcherTests),
    SUITE(ClientHandlerTests),
    SUITE(GroupNameMatcherTests),
    SUITE(LoadPriorityIncludeFilterTests),
    SUITE(PhpArraySettingsSerializerTests),
    {nullptr, nullptr},
};
// clang-format on
