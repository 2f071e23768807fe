#include "zumra/settings/SettingsWatcher.h"

#include <cstdint>
#include <string>

#include "Documents.h"
#include "zumra/core/IniFile.h"
#include "zumra/osa/Thread.h"
#include "zumra/settings/ZumraSettingsClient.h"

#include "CheckModes.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using osa::Thread;
using settings::SettingsWatcher;
using settings::ZumraSettingsClient;

namespace {

constexpr unsigned int kPollMs = 100;

// Updates until something changed; a change that never comes ends at the check's time-out.
void PollForUpdate(SettingsWatcher& watcher) {
    while (!watcher.UpdateSettings()) {
    }
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestWatchSettings, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument(
        {{"section", "theInt", "23"}, {"section", "theString", "apple"}, {"section", "theBool", "true"}}));
    std::int32_t theInt = 0;
    std::string theString;
    bool theBool = false;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("section", "theInt", &theInt);
    watcher.AddSetting("section", "theString", &theString);
    watcher.AddSetting("section", "theBool", &theBool);
    fail_unless(true == watcher.UpdateSettings());
    check_equal(23, theInt);
    check_equal("apple", theString);
    fail_unless(true == theBool);

    client.MergeSettings(MakeDocument(
        {{"section", "theInt", "42"}, {"section", "theString", "pear"}, {"section", "theBool", "false"}}));
    check_equal(23, theInt);
    check_equal("apple", theString);
    fail_unless(true == theBool);

    while (!watcher.UpdateSettings()) {
        Thread::CurrentThread::Sleep(kPollMs);
    }
    fail_unless(false == watcher.UpdateSettings());
    check_equal(42, theInt);
    check_equal("pear", theString);
    fail_unless(false == theBool);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestWatchInt, ZumraSettingsClient& client) {
    std::int32_t theInt = 123;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("section", "theInt", &theInt);
    check_equal(123, theInt);
    PollForUpdate(watcher);
    check_equal(0, theInt);

    client.SetValue("[section]theInt", "-123");
    PollForUpdate(watcher);
    check_equal(-123, theInt);

    client.SetValue("[section]theInt", "");
    PollForUpdate(watcher);
    check_equal(0, theInt);

    client.SetValue("[section]theInt", "not an int");
    PollForUpdate(watcher);
    check_equal(0, theInt);
}

// An integer that is given texts as of a bool: the int overload on purpose.
CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestWatchBool, ZumraSettingsClient& client) {
    std::int32_t theBool = 1;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("section", "theBool", &theBool);
    fail_unless(true == theBool);
    PollForUpdate(watcher);
    fail_unless(false == theBool);

    client.SetValue("[section]theBool", "1");
    PollForUpdate(watcher);
    fail_unless(true == theBool);

    client.SetValue("[section]theBool", "");
    PollForUpdate(watcher);
    fail_unless(false == theBool);

    client.SetValue("[section]theBool", "not a bool");
    PollForUpdate(watcher);
    fail_unless(false == theBool);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestWatchDifferentGroups,
                                        ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"section1", "bool", "true"}, {"section2", "bool", "true"}}));
    bool bool1 = false;
    bool bool2 = false;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("section1", "bool", &bool1);
    watcher.AddSetting("section2", "bool", &bool2);
    watcher.UpdateSettings();
    fail_unless(true == bool1);
    fail_unless(true == bool2);

    client.SetValue("[section2]bool", "false");
    PollForUpdate(watcher);
    fail_unless(true == bool1);
    fail_unless(false == bool2);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestWatchDifferentSettings,
                                        ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"section", "bool1", "true"}, {"section", "bool2", "true"}}));
    bool bool1 = false;
    bool bool2 = false;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("section", "bool1", &bool1);
    watcher.AddSetting("section", "bool2", &bool2);
    PollForUpdate(watcher);
    fail_unless(true == bool1);
    fail_unless(true == bool2);

    client.SetValue("[section]bool2", "false");
    PollForUpdate(watcher);
    fail_unless(true == bool1);
    fail_unless(false == bool2);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestDeleteSettings, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument({{"group1", "string1", "orange"}, {"group2", "string2", "pear"}}));
    std::string string1;
    std::string string2;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("group1", "string1", &string1);
    watcher.AddSetting("group2", "string2", &string2);
    fail_unless(true == watcher.UpdateSettings());
    check_equal("orange", string1);
    check_equal("pear", string2);

    client.OverwriteSettings("*", MakeDocument({{"group2", "string1", "peach"}}));
    PollForUpdate(watcher);
    check_equal("", string1);
    check_equal("", string2);
}

CHECK_IN_LOCAL_AND_MULTI_THREADED_MODES(SettingsWatcher_TestTryUpdateSettings, ZumraSettingsClient& client) {
    client.MergeSettings(MakeDocument(
        {{"section", "theInt", "23"}, {"section", "theString", "apple"}, {"section", "theBool", "true"}}));
    std::int32_t theInt = 0;
    std::string theString;
    bool theBool = false;
    SettingsWatcher watcher(&client);
    watcher.AddSetting("section", "theInt", &theInt);
    watcher.AddSetting("section", "theString", &theString);
    watcher.AddSetting("section", "theBool", &theBool);
    fail_unless(true == watcher.UpdateSettings());
    check_equal(23, theInt);
    check_equal("apple", theString);
    fail_unless(true == theBool);

    client.MergeSettings(MakeDocument(
        {{"section", "theInt", "42"}, {"section", "theString", "pear"}, {"section", "theBool", "false"}}));
    check_equal(23, theInt);
    check_equal("apple", theString);
    fail_unless(true == theBool);

    while (!watcher.TryUpdateSettings()) {
        Thread::CurrentThread::Sleep(kPollMs);
    }
    fail_unless(false == watcher.TryUpdateSettings());
    check_equal(42, theInt);
    check_equal("pear", theString);
    fail_unless(false == theBool);
}

const TestCase kAll = {
    "all",
    {
        SettingsWatcher_TestWatchSettings,
        SettingsWatcher_TestWatchInt,
        SettingsWatcher_TestWatchBool,
        SettingsWatcher_TestWatchDifferentGroups,
        SettingsWatcher_TestWatchDifferentSettings,
        SettingsWatcher_TestDeleteSettings,
        SettingsWatcher_TestTryUpdateSettings,
    },
};

}  // namespace

Suite* SettingsWatcherTests() {
    return BuildSuite("SettingsWatcherTests", {kAll});
}

}  // namespace zumra::tests
