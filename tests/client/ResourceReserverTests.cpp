#include "zumra/settings/ResourceReserver.h"

#include "Documents.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using settings::ResourceReserver;
using settings::ZumraSettingsClient;

namespace {

CHECK_IN_ALL_MODES(ResourceReserver_GetAuthorized, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP]\n"
                     "TotalAvailable = 100\n"
                     "[Resources/DSP/AllowedConsumers]\n"
                     "00 = Deimos\n"
                     "01 = PigEars\n"
                     "02 = Flubber\n"));
    {
        ResourceReserver rr(&client, "DSP", "Deimos");
        check_equal(100, rr.GetAvailableResources());
        fail_if(rr.IsAuthorized() == false);
    }
    {
        ResourceReserver rr(&client, "DSP", "Flubber");
        check_equal(100, rr.GetAvailableResources());
        fail_if(rr.IsAuthorized() == false);
    }
    {
        ResourceReserver rr(&client, "DSP", "Blubber");
        check_equal(0, rr.GetAvailableResources());
        fail_if(rr.IsAuthorized() == true);
    }
}

CHECK_IN_ALL_MODES(ResourceReserver_GetAllAuthorized, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP]\n"
                     "TotalAvailable = 100\n"));
    {
        ResourceReserver rr(&client, "DSP", "Deimos");
        check_equal(100, rr.GetAvailableResources());
    }
    {
        ResourceReserver rr(&client, "DSP", "Flubber");
        check_equal(100, rr.GetAvailableResources());
    }
    {
        ResourceReserver rr(&client, "DSP", "Blubber");
        check_equal(100, rr.GetAvailableResources());
    }
}

CHECK_IN_ALL_MODES(ResourceReserver_GetAvailableEmpty, ZumraSettingsClient& client) {
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(100, rr.GetAvailableResources());
    check_equal(0, rr.GetCurrentUsage());
}

CHECK_IN_ALL_MODES(ResourceReserver_GetAvailableTotalSpecified, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP]\n"
                     "TotalAvailable = 365\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(365, rr.GetAvailableResources());
    check_equal(365, rr.GetTotalResources());
    check_equal(0, rr.GetCurrentUsage());
}

CHECK_IN_ALL_MODES(ResourceReserver_GetAvailableTotalWithMax, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP/Consumers/Deimos]\n"
                     "MaxAllowed = 75\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(75, rr.GetAvailableResources());
    check_equal(100, rr.GetTotalResources());
    check_equal(0, rr.GetCurrentUsage());
}

// What the consumer holds itself does not lower what it may have.
CHECK_IN_ALL_MODES(ResourceReserver_GetAvailableIgnoreCurrent, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP/Consumers/Deimos]\n"
                     "CurrentlyUsed = 75\n"
                     "MaxAllowed = 75\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(75, rr.GetAvailableResources());
    check_equal(75, rr.GetCurrentUsage());
}

// 100 less the 40 of Analytics; the cap of Sharpening reserves nothing.
CHECK_IN_ALL_MODES(ResourceReserver_GetAvailableShared, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP/Consumers/Deimos]\n"
                     "CurrentlyUsed = 30\n"
                     "MaxAllowed = 75\n"
                     "[Resources/DSP/Consumers/Analytics]\n"
                     "CurrentlyUsed = 40\n"
                     "[Resources/DSP/Consumers/Sharpening]\n"
                     "MaxAllowed = 50\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(60, rr.GetAvailableResources());
    check_equal(30, rr.GetCurrentUsage());
}

CHECK_IN_ALL_MODES(ResourceReserver_ReserveSuccess, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP/Consumers/Deimos]\n"
                     "CurrentlyUsed = 30\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(100, rr.GetAvailableResources());
    check_equal(30, rr.GetCurrentUsage());

    fail_unless(true == rr.TrySetUsage(65));
    check_equal(100, rr.GetAvailableResources());
    check_equal(65, rr.GetCurrentUsage());
    check_equal(100, rr.GetTotalResources());

    fail_unless(true == rr.TrySetUsage(5));
    check_equal(100, rr.GetAvailableResources());
    check_equal(5, rr.GetCurrentUsage());
}

CHECK_IN_ALL_MODES(ResourceReserver_ReserveFailure, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP/Consumers/Deimos]\n"
                     "CurrentlyUsed = 30\n"
                     "[Resources/DSP/Consumers/Sherlock]\n"
                     "CurrentlyUsed = 60\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    check_equal(40, rr.GetAvailableResources());
    check_equal(30, rr.GetCurrentUsage());

    fail_unless(false == rr.TrySetUsage(65));
    check_equal(40, rr.GetAvailableResources());
    check_equal(30, rr.GetCurrentUsage());

    fail_unless(true == rr.TrySetUsage(5));
    check_equal(40, rr.GetAvailableResources());
    check_equal(5, rr.GetCurrentUsage());
    check_equal(100, rr.GetTotalResources());
}

// 400 of 1000 are available.
CHECK_IN_ALL_MODES(ResourceReserver_ReservePercentage, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP]\n"
                     "TotalAvailable = 1000\n"
                     "[Resources/DSP/Consumers/Deimos]\n"
                     "CurrentlyUsed = 300\n"
                     "[Resources/DSP/Consumers/Sherlock]\n"
                     "CurrentlyUsed = 600\n"));
    ResourceReserver rr(&client, "DSP", "Deimos");
    fail_unless(true == rr.TrySetUsagePercent(.2));
    check_equal(200, rr.GetCurrentUsage());
    fail_unless(false == rr.TrySetUsagePercent(.6));
    check_equal(200, rr.GetCurrentUsage());
    fail_unless(true == rr.TrySetUsagePercent(.30111));
    check_equal(302, rr.GetCurrentUsage());
    fail_unless(false == rr.TrySetUsagePercent(-.4));
    fail_unless(false == rr.TrySetUsagePercent(1.1));
}

// The whole available fraction is exactly what is left, for every thousand of 100000.
CHECK_IN_ALL_MODES(ResourceReserver_ReserveGetPercentage, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[Resources/DSP]\n"
                     "TotalAvailable = 100000\n"));
    ResourceReserver rrDeimos(&client, "DSP", "Deimos");
    ResourceReserver rrSherlock(&client, "DSP", "Sherlock");
    const int total = rrDeimos.GetTotalResources();
    for (int i = 0; i <= total; i += 1000) {
        fail_unless(true == rrSherlock.TrySetUsage(i), "i = %d", i);
        const double availableResources = rrDeimos.GetAvailableResourcesPercent();
        fail_unless(true == rrDeimos.TrySetUsagePercent(availableResources), "available = %g",
                    availableResources);
        check_equal(total - i, rrDeimos.GetCurrentUsage());
        fail_unless(true == rrDeimos.TrySetUsage(0));
    }
}

const TestCase kGet = {
    "get",
    {
        ResourceReserver_GetAuthorized,
        ResourceReserver_GetAllAuthorized,
        ResourceReserver_GetAvailableEmpty,
        ResourceReserver_GetAvailableTotalSpecified,
        ResourceReserver_GetAvailableTotalWithMax,
        ResourceReserver_GetAvailableIgnoreCurrent,
        ResourceReserver_GetAvailableShared,
    },
};

const TestCase kReserve = {
    "reserve",
    {
        ResourceReserver_ReserveSuccess,
        ResourceReserver_ReserveFailure,
        ResourceReserver_ReservePercentage,
    },
};

const TestCase kLonger = {
    "longer",
    {
        ResourceReserver_ReserveGetPercentage,
    },
    std::chrono::seconds(3),
};

}  // namespace

Suite* ResourceReserverTests() {
    return BuildSuite("ResourceReserverTests", {kGet, kReserve, kLonger});
}

}  // namespace zumra::tests
