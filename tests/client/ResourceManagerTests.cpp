#include "zumra/settings/ResourceManager.h"

#include <list>

#include "Documents.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using settings::ResourceManager;
using settings::ZumraSettingsClient;

namespace {

using UsageList = std::list<ResourceManager::ResourceUsage>;

ResourceManager::ResourceUsage Amount(const char* resource, int amount) {
    return {resource, false, amount, 0};
}

const char* const kThreeResources =
    "[Resources/DSP/Consumers/Deimos]\n"
    "CurrentlyUsed = 30\n"
    "[Resources/CPU/Consumers/Deimos]\n"
    "CurrentlyUsed = 25\n"
    "[Resources/Ipipe/Consumers/Deimos]\n"
    "CurrentlyUsed = 40\n";

const char* const kDeimosUses30 =
    "[Resources/DSP/Consumers/Deimos]\n"
    "CurrentlyUsed = 30\n";

const char* const kDeimosUses40 =
    "[Resources/DSP/Consumers/Deimos]\n"
    "CurrentlyUsed = 40\n";

const char* const kDeimosUses90 =
    "[Resources/DSP/Consumers/Deimos]\n"
    "CurrentlyUsed = 90\n";

CHECK_IN_ALL_MODES(ResourceManager_GetMultipleConsumers, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP]\n"
                     "TotalAvailable = 1000\n"
                     "[Resources/DSP/Consumers/Deimos]\n"
                     "CurrentlyUsed = 300\n"
                     "[Resources/DSP/Consumers/Sherlock]\n"
                     "CurrentlyUsed = 600\n"));
    ResourceManager rm(&client);
    check_equal(400, rm.GetAvailable("Deimos", "DSP"));
    check_equal(700, rm.GetAvailable("Sherlock", "DSP"));
    check_equal(100, rm.GetAvailable("SomeoneElse", "DSP"));
    check_equal(300, rm.GetUsed("Deimos", "DSP"));
    check_equal(600, rm.GetUsed("Sherlock", "DSP"));
    check_equal(0, rm.GetUsed("SomeoneElse", "DSP"));
}

CHECK_IN_ALL_MODES(ResourceManager_GetMultipleResources, ZumraSettingsClient& client) {
    client.MergeSettings(LoadDocument(kThreeResources));
    ResourceManager rm(&client);
    check_equal(100, rm.GetAvailable("Deimos", "DSP"));
    check_equal(100, rm.GetAvailable("Deimos", "CPU"));
    check_equal(100, rm.GetAvailable("Deimos", "Ipipe"));
    check_equal(30, rm.GetUsed("Deimos", "DSP"));
    check_equal(25, rm.GetUsed("Deimos", "CPU"));
    check_equal(40, rm.GetUsed("Deimos", "Ipipe"));
    check_equal(70, rm.GetAvailable("Other", "DSP"));
    check_equal(75, rm.GetAvailable("Other", "CPU"));
    check_equal(60, rm.GetAvailable("Other", "Ipipe"));
}

CHECK_IN_ALL_MODES(ResourceManager_ReserveResources, ZumraSettingsClient& client) {
    client.MergeSettings(LoadDocument(kThreeResources));
    ResourceManager rm(&client);
    const UsageList rul = {Amount("DSP", 15), Amount("CPU", 35), Amount("Ipipe", 35)};
    fail_unless(true == rm.ReserveForConsumer("Sherlock", rul));
    check_equal(15, rm.GetUsed("Sherlock", "DSP"));
    check_equal(35, rm.GetUsed("Sherlock", "CPU"));
    check_equal(35, rm.GetUsed("Sherlock", "Ipipe"));
}

CHECK_IN_ALL_MODES(ResourceManager_RetryOnChange, ZumraSettingsClient& client) {
    client.MergeSettings(LoadDocument(kDeimosUses30));
    ResourceManager rm(&client);
    check_equal(70, rm.GetAvailable("Sherlock", "DSP"));

    client.MergeSettings(LoadDocument(kDeimosUses40));
    const UsageList rul = {Amount("DSP", 15)};
    fail_unless(true == rm.ReserveForConsumer("Sherlock", rul));
    check_equal(15, rm.GetUsed("Sherlock", "DSP"));
    check_equal(60, rm.GetAvailable("Sherlock", "DSP"));
}

CHECK_IN_ALL_MODES(ResourceManager_RetryOnChangeAndFail, ZumraSettingsClient& client) {
    client.MergeSettings(LoadDocument(kDeimosUses30));
    ResourceManager rm(&client);
    check_equal(70, rm.GetAvailable("Sherlock", "DSP"));

    client.MergeSettings(LoadDocument(kDeimosUses90));
    const UsageList rul = {Amount("DSP", 15)};
    fail_unless(false == rm.ReserveForConsumer("Sherlock", rul));
    check_equal(0, rm.GetUsed("Sherlock", "DSP"));
    check_equal(10, rm.GetAvailable("Sherlock", "DSP"));
}

const TestCase kGet = {
    "get",
    {
        ResourceManager_GetMultipleConsumers,
        ResourceManager_GetMultipleResources,
        ResourceManager_ReserveResources,
        ResourceManager_RetryOnChange,
        ResourceManager_RetryOnChangeAndFail,
    },
};

}  // namespace

Suite* ResourceManagerTests() {
    return BuildSuite("ResourceManagerTests", {kGet});
}

}  // namespace zumra::tests
