#pragma once

#include "zumra/check/Runner.h"

/// The builders of all suites, in the order in which they run. A new suite has its place here, in the table
/// of Suites.cpp, and in a file named after it.
namespace zumra::tests {

Suite* CommandTests();
Suite* IniWatcherTests();
Suite* ZumraSettingsClientImplLocalTests();
Suite* ZumraSettingsClientImplMultiThreadedTests();
Suite* ZumraSettingsClientTests();
Suite* ResourceManagerTests();
Suite* ResourceReserverTests();
Suite* SettingsWatcherTests();
Suite* SubscribeTests();
Suite* TestAndMergeTests();
Suite* CallbackDispatcherTests();
Suite* ClientHandlerTests();
Suite* GroupNameMatcherTests();
Suite* LoadPriorityIncludeFilterTests();
Suite* PhpArraySettingsSerializerTests();

}  // namespace zumra::tests
