#include "Suites.h"

#include "zumra/check/Runner.h"

#define SUITE(name) \
    { #name, zumra::tests::name }

// clang-format off
/// The suites of the client layer that use a client.
const zu_check_suite __zu_check_suites[] = {
    SUITE(IniWatcherTests),
    SUITE(ZumraSettingsClientImplLocalTests),
    SUITE(ZumraSettingsClientImplMultiThreadedTests),
    SUITE(ZumraSettingsClientTests),
    SUITE(ResourceManagerTests),
    SUITE(ResourceReserverTests),
    SUITE(SettingsWatcherTests),
    SUITE(SubscribeTests),
    SUITE(TestAndMergeTests),
    {nullptr, nullptr},
};
// clang-format on
