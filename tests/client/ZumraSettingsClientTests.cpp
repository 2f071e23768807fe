#include "zumra/settings/ZumraSettingsClient.h"

#include <set>
#include <string>

#include "Documents.h"
#include "zumra/core/IniFile.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::ZumraSettingsClient;

namespace {

CHECK_IN_ALL_MODES(ZumraSettingsClient_EraseGroupShouldWork, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[abc123]\n"
                     "value=1\n"
                     "[abc456]\n"
                     "value=1\n"
                     "[other]\n"
                     "value=1\n"));
    client.EraseGroups("abc*");

    IniFile ini;
    client.GetSettings("*", ini);
    fail_if(ini.HasGroup("abc123"));
    fail_if(ini.HasGroup("abc456"));
    fail_unless(ini.HasGroup("other"));
}

// "other" appears twice in the text: empty, then with a value.
CHECK_IN_ALL_MODES(ZumraSettingsClient_EraseGroupCollectionShouldWork, ZumraSettingsClient& client) {
    client.MergeSettings(
        LoadDocument("[abc123]\n"
                     "value=1\n"
                     "[abc456]\n"
                     "value=1\n"
                     "[other]\n"
                     "[def123]\n"
                     "value=1\n"
                     "[def456]\n"
                     "value=1\n"
                     "[other]\n"
                     "value=1\n"));
    client.EraseGroups(std::set<std::string>{"abc*", "def*"});

    IniFile ini;
    client.GetSettings("*", ini);
    fail_if(ini.HasGroup("abc123"));
    fail_if(ini.HasGroup("abc456"));
    fail_if(ini.HasGroup("def123"));
    fail_if(ini.HasGroup("def456"));
    fail_unless(ini.HasGroup("other"));
}

const TestCase kAll = {
    "all",
    {
        ZumraSettingsClient_EraseGroupShouldWork,
        ZumraSettingsClient_EraseGroupCollectionShouldWork,
    },
};

}  // namespace

Suite* ZumraSettingsClientTests() {
    return BuildSuite("ZumraSettingsClientTests", {kAll});
}

}  // namespace zumra::tests
