#include <cstdint>
#include <set>
#include <string>

#include "Documents.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::ZumraSettingsClient;

namespace {

class change_subscriber : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& changedGroups, const IniFile&) override {
        ++_callbackCount;
        _changedSections = changedGroups;
    }

    std::int32_t _callbackCount = 0;
    std::set<std::string> _changedSections;
};

const char* const kDefaults =
    "[group1]\n"
    "setting1 = value1\n"
    "setting2 = value2\n"
    "[group2]\n"
    "setting1 = value1\n";

CHECK(localMergeAndGet) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    IniFile ini;
    ini["section1"]["value1"] = "abc";
    ini["section2"]["value1"] = "def";
    client.MergeSettings(ini);

    IniFile ini2;
    client.GetSettings("section1", ini2);
    fail_unless("abc" == ini2["section1"]["value1"]);
    fail_unless(false == ini2.HasGroup("section2"));

    client.GetSettings("section2", ini2);
    fail_unless("abc" == ini2["section1"]["value1"]);
    fail_unless("def" == ini2["section2"]["value1"]);
}

CHECK(localRefreshSettings) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    IniFile ini;
    ini["section1"]["value1"] = "abc";
    ini["section2"]["value1"] = "def";
    client.MergeSettings(ini);

    IniFile ini2;
    client.GetSettings("section1", ini2);
    fail_unless("abc" == ini2["section1"]["value1"]);
    fail_unless(false == ini2.HasGroup("section2"));

    ini["section1"]["value1"] = "ghi";
    client.MergeSettings(ini);
    client.RefreshSettings(ini2);
    fail_unless("ghi" == ini2["section1"]["value1"]);
    fail_unless(false == ini2.HasGroup("section2"));
}

CHECK(localGetWildcards) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    client.MergeSettings(MakeDocument(
        {{"aaa/bbb", "value1", "abc"}, {"aaa/ccc", "value1", "def"}, {"bbb/ccc", "value1", "ghi"}}));

    IniFile ini;
    client.GetSettings("aaa/*", ini);
    fail_unless(ini.HasGroup("aaa/bbb"));
    fail_unless(ini.HasGroup("aaa/ccc"));
    fail_if(ini.HasGroup("bbb/ccc"));
}

CHECK(localGetWildcardAndNames) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    client.MergeSettings(MakeDocument({{"Server", "value1", "abc"}}));

    const std::set<std::string> groups = {"Server", "Source*", "Handler*"};
    IniFile ini;
    client.GetSettings(groups, ini);
    fail_unless(ini.HasGroup("Server"));
}

CHECK(localOverwrite) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    client.MergeSettings(MakeDocument({{"Server", "value1", "abc"}}));
    client.OverwriteSettings("Server", MakeDocument({{"Server", "value2", "def"}}));

    IniFile ini;
    client.GetSettings("Server", ini);
    fail_unless("def" == ini["Server"]["value2"]);
    fail_if(ini.HasValue("Server", "value1"));
}

CHECK(localOverwrite2) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    client.MergeSettings(MakeDocument({{"Server/Sub", "value1", "abc"}}));
    client.OverwriteSettings("Server*", MakeDocument({{"Server/Sub", "value2", "def"}}));

    IniFile ini;
    client.GetSettings("Server/Sub", ini);
    fail_unless("def" == ini["Server/Sub"]["value2"]);
    fail_if(ini.HasValue("Server/Sub", "value1"));
}

CHECK(localGetValue) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    client.MergeSettings(MakeDocument({{"section1", "value1", "abc"}, {"section2", "value1", "def"}}));

    fail_unless("abc" == client.GetValue("[section1]value1"));
    fail_unless("def" == client.GetValue("[section2]value1"));
    fail_unless("" == client.GetValue("[section2]value3"));
    fail_unless("" == client.GetValue("[section3]value1"));
}

CHECK(localGetValueInvalidPath) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    expect_exception(static_cast<void>(client.GetValue("asdasdasdas")),
                     "Failed to parse 'asdasdasdas' as a SettingLocator");
}

CHECK(localSetValue) {
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    client.SetValue("[section1]value1", "somevalue");
    check_equal("somevalue", client.GetValue("[section1]value1"));
}

// The client goes with the subscriber still registered.
CHECK(localCallbacks) {
    change_subscriber subscriber;
    ClientOfCheck client(ZumraSettingsClient::kLocal);
    const std::set<std::string> groupNames = {"section"};
    client.Subscribe(&subscriber, groupNames);
    client.SetValue("[section]value", "1");

    check_equal(1, subscriber._callbackCount);
    fail_unless(subscriber._changedSections == groupNames);
}

CHECK(local_ShouldRestoreChangedSettingsToDefaults) {
    const IniFile defaults = LoadDocument(kDefaults);
    ClientOfCheck client(ZumraSettingsClient::kLocal, defaults);
    client.SetValue("[group2]setting1", "newvalue");
    client.RestoreToDefaults("group2");
    check_equal("value1", client.GetValue("[group2]setting1"));
}

CHECK(local_ShouldRestoreDeletedGroupsToDefaults) {
    const IniFile defaults = LoadDocument(kDefaults);
    ClientOfCheck client(ZumraSettingsClient::kLocal, defaults);
    client.OverwriteSettings("group1", IniFile());
    client.RestoreToDefaults("group1");
    check_equal("value1", client.GetValue("[group1]setting1"));
    check_equal("value2", client.GetValue("[group1]setting2"));
}

const TestCase kAll = {
    "all",
    {
        localMergeAndGet,
        localRefreshSettings,
        localGetWildcards,
        localGetWildcardAndNames,
        localOverwrite,
        localOverwrite2,
        localGetValue,
        localGetValueInvalidPath,
        localSetValue,
        localCallbacks,
        local_ShouldRestoreChangedSettingsToDefaults,
        local_ShouldRestoreDeletedGroupsToDefaults,
    },
};

}  // namespace

Suite* ZumraSettingsClientImplLocalTests() {
    return BuildSuite("ZumraSettingsClientImplLocalTests", {kAll});
}

}  // namespace zumra::tests
