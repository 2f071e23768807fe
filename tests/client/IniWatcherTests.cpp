#include "zumra/settings/IniWatcher.h"

#include "Documents.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::IniWatcher;
using settings::ZumraSettingsClient;

namespace {

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_GetInitialSettings, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"section", "bool1", "true"}, {"section", "bool2", "true"}}));
    IniFile ini;
    ini["section2"]["setting"] = "value";
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());

    fail_if(ini.HasGroup("section2"));
    check_equal("true", ini["section"]["bool1"]);
    check_equal("true", ini["section"]["bool2"]);
    fail_unless(false == watcher.Update());
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_UpdateSettings, ZumraSettingsClient& client) {
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());

    client.MergeSettings(MakeDocument({{"group1", "setting", "abc"}, {"group2", "setting", "def"}}));
    watcher.Update();
    check_equal("abc", ini["group1"]["setting"]);
    check_equal("def", ini["group2"]["setting"]);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_DeleteGroup, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"group", "setting", "value"}}));
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());
    check_equal("value", ini["group"]["setting"]);

    client.OverwriteSettings("group", IniFile());
    watcher.Update();
    fail_if(ini.HasGroup("group"));
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_DeleteSetting, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"group", "setting1", "value"}, {"group", "setting2", "value"}}));
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());
    check_equal("value", ini["group"]["setting1"]);
    check_equal("value", ini["group"]["setting2"]);

    client.OverwriteSettings("group", MakeDocument({{"group", "setting2", "newvalue"}}));
    watcher.Update();
    fail_if(ini.HasValue("group", "setting1"));
    check_equal("newvalue", ini["group"]["setting2"]);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_QueueChanges, ZumraSettingsClient& client) {
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());

    client.MergeSettings(MakeDocument({{"group", "setting", "value"}}));
    client.OverwriteSettings("group", IniFile());
    fail_unless(true == watcher.Update());
    fail_if(ini.HasGroup("group"));
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_PartialChange, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"group1", "setting", "value"}, {"group2", "setting", "value"}}));
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());
    check_equal("value", ini["group1"]["setting"]);
    check_equal("value", ini["group2"]["setting"]);

    client.MergeSettings(MakeDocument({{"group1", "setting2", "newvalue"}}));
    watcher.Update();
    check_equal("value", ini["group1"]["setting"]);
    check_equal("newvalue", ini["group1"]["setting2"]);
    check_equal("value", ini["group2"]["setting"]);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_TryUpdateFirst, ZumraSettingsClient& client) {
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    expect_exception(watcher.TryUpdate(), "TryUpdate called before Update");
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(IniWatcher_TryUpdate, ZumraSettingsClient& client) {
    IniFile ini;
    IniWatcher watcher(&client, &ini);
    watcher.AddPattern("*");
    fail_unless(true == watcher.Update());

    client.MergeSettings(MakeDocument({{"group1", "setting", "abc"}, {"group2", "setting", "def"}}));
    watcher.TryUpdate();
    check_equal("abc", ini["group1"]["setting"]);
    check_equal("def", ini["group2"]["setting"]);
}

const TestCase kAll = {
    "all",
    {
        IniWatcher_GetInitialSettings,
        IniWatcher_UpdateSettings,
        IniWatcher_DeleteGroup,
        IniWatcher_DeleteSetting,
        IniWatcher_QueueChanges,
        IniWatcher_PartialChange,
        IniWatcher_TryUpdateFirst,
        IniWatcher_TryUpdate,
    },
};

}  // namespace

Suite* IniWatcherTests() {
    return BuildSuite("IniWatcherTests", {kAll});
}

}  // namespace zumra::tests
