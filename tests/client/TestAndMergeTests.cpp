#include "Documents.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::ZumraSettingsClient;

namespace {

CHECK_IN_ALL_MODES(TestAndMerge_NoChange, ZumraSettingsClient& client) {
    IniFile oldValues = MakeDocument({{"group", "setting", "oldvalue"}});
    client.MergeSettings(oldValues);

    IniFile newValues = MakeDocument({{"group", "setting", "newvalue"}});
    fail_unless(true == client.TestAndMerge(oldValues, newValues));

    IniFile ini;
    client.GetSettings("group", ini);
    check_equal("newvalue", ini["group"]["setting"]);
}

CHECK_IN_ALL_MODES(TestAndMerge_Changed, ZumraSettingsClient& client) {
    IniFile oldValues = MakeDocument({{"group", "setting", "oldvalue"}});
    client.MergeSettings(oldValues);
    oldValues["group"]["setting"] = "oldvalue-changed";

    IniFile newValues = MakeDocument({{"group", "setting", "newvalue"}});
    fail_unless(false == client.TestAndMerge(oldValues, newValues));

    IniFile ini;
    client.GetSettings("group", ini);
    check_equal("oldvalue", ini["group"]["setting"]);
}

const TestCase kAll = {
    "all",
    {
        TestAndMerge_NoChange,
        TestAndMerge_Changed,
    },
};

}  // namespace

Suite* TestAndMergeTests() {
    return BuildSuite("TestAndMergeTests", {kAll});
}

}  // namespace zumra::tests
