#include "zumra/settings/SettingsWatcher.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/EveryMode.h"
#include "settings/client/InProcessServer.h"

namespace zumra::settings {
namespace {

using std::chrono::milliseconds;

class SettingsWatcherTests : public EveryMode {
protected:
    ZumraSettingsClient _client{GetParam()};
    SettingsWatcher _watcher{&_client};
};

ZUMRA_INSTANTIATE_IN_EVERY_MODE(SettingsWatcherTests);

TEST_P(SettingsWatcherTests, WritesTheVariablesInUpdatesOnly) {
    _client.SetValue("[s]int", "23");
    int number = 5;
    _watcher.AddSetting("s", "int", &number);
    EXPECT_EQ(number, 5);
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(number, 23);
    _client.SetValue("[s]int", "42");
    EXPECT_EQ(number, 23);
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(number, 42);
    EXPECT_FALSE(_watcher.TryUpdateSettings());
    EXPECT_FALSE(_watcher.UpdateSettings());
}

TEST_P(SettingsWatcherTests, TheFirstUpdateIsTrueWhateverThereIs) {
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_FALSE(_watcher.UpdateSettings());
    SettingsWatcher other(&_client);
    int number = 5;
    other.AddSetting("s", "int", &number);
    EXPECT_TRUE(other.UpdateSettings());
    EXPECT_EQ(number, 0);
    EXPECT_FALSE(other.UpdateSettings());
}

TEST_P(SettingsWatcherTests, MayBeginWithATry) {
    _client.SetValue("[s]int", "23");
    int number = 5;
    _watcher.AddSetting("s", "int", &number);
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(number, 23);
    EXPECT_FALSE(_watcher.TryUpdateSettings());
}

TEST_P(SettingsWatcherTests, BindsEveryType) {
    enum class Mode { kDay, kNight };
    _client.MergeSettings([] {
        core::IniFile settings;
        settings["s"] = {{"int", "-1"},
                         {"unsigned", "4000000000"},
                         {"int64", "-9000000000"},
                         {"uint64", "18000000000000000000"},
                         {"double", "2.5"},
                         {"bool", "true"},
                         {"string", " text "},
                         {"mode", "night"}};
        return settings;
    }());
    int anInt = 0;
    unsigned anUnsigned = 0;
    std::int64_t anInt64 = 0;
    std::uint64_t aUint64 = 0;
    double aDouble = 0;
    bool aBool = false;
    std::string aString;
    Mode mode = Mode::kDay;
    _watcher.AddSetting("s", "int", &anInt);
    _watcher.AddSetting("s", "unsigned", &anUnsigned);
    _watcher.AddSetting("s", "int64", &anInt64);
    _watcher.AddSetting("s", "uint64", &aUint64);
    _watcher.AddSetting("s", "double", &aDouble);
    _watcher.AddSetting("s", "bool", &aBool);
    _watcher.AddSetting("s", "string", &aString);
    _watcher.AddSetting("s", "mode", &mode, {{"day", Mode::kDay}, {"night", Mode::kNight}}, Mode::kDay);
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(anInt, -1);
    EXPECT_EQ(anUnsigned, 4000000000U);
    EXPECT_EQ(anInt64, -9000000000);
    EXPECT_EQ(aUint64, 18000000000000000000U);
    EXPECT_EQ(aDouble, 2.5);
    EXPECT_TRUE(aBool);
    EXPECT_EQ(aString, " text ");
    EXPECT_EQ(mode, Mode::kNight);
}

TEST_P(SettingsWatcherTests, GivesTheDefaultForMissingAndUnreadableTexts) {
    enum class Mode { kDay, kNight };
    int anInt = 0;
    unsigned anUnsigned = 0;
    std::int64_t anInt64 = 0;
    std::uint64_t aUint64 = 0;
    double aDouble = 0;
    bool aBool = false;
    std::string aString;
    Mode mode = Mode::kDay;
    _watcher.AddSetting("s", "value", &anInt, 1);
    _watcher.AddSetting("s", "value", &anUnsigned, 2);
    _watcher.AddSetting("s", "value", &anInt64, 3);
    _watcher.AddSetting("s", "value", &aUint64, 4);
    _watcher.AddSetting("s", "value", &aDouble, 5.5);
    _watcher.AddSetting("s", "value", &aBool, true);
    _watcher.AddSetting("s", "value", &aString, "default");
    _watcher.AddSetting("s", "value", &mode, {{"day", Mode::kDay}}, Mode::kNight);
    const auto expectDefaults = [&] {
        EXPECT_EQ(anInt, 1);
        EXPECT_EQ(anUnsigned, 2U);
        EXPECT_EQ(anInt64, 3);
        EXPECT_EQ(aUint64, 4U);
        EXPECT_EQ(aDouble, 5.5);
        EXPECT_TRUE(aBool);
        EXPECT_EQ(mode, Mode::kNight);
    };
    EXPECT_TRUE(_watcher.UpdateSettings());
    expectDefaults();
    EXPECT_EQ(aString, "default");
    for (const std::string text : {"", " 1", "0x1", "1 banana", "Day"}) {
        _client.SetValue("[s]value", text);
        EXPECT_TRUE(_watcher.UpdateSettings()) << text;
        expectDefaults();
        EXPECT_EQ(aString, text);
    }
    _client.SetValue("[s]value", "0");
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(anInt, 0);
    EXPECT_EQ(aDouble, 0.0);
}

TEST_P(SettingsWatcherTests, TellsOfEveryNewTextOfABoundSetting) {
    int number = 5;
    _watcher.AddSetting("s", "int", &number);
    _watcher.UpdateSettings();
    for (const std::string text : {"", "not an int", "0", "00", "1", "01"}) {
        _client.SetValue("[s]int", text);
        EXPECT_TRUE(_watcher.UpdateSettings()) << text;
        EXPECT_FALSE(_watcher.UpdateSettings()) << text;
    }
    EXPECT_EQ(number, 1);
    _client.EraseValue("[s]int");
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(number, 0);
    _client.SetValue("[s]int", "");
    EXPECT_TRUE(_watcher.UpdateSettings());
    _client.EraseGroups("s");
    EXPECT_TRUE(_watcher.UpdateSettings());
}

TEST_P(SettingsWatcherTests, DoesNotTellOfWhatIsNoNewText) {
    _client.SetValue("[s]int", "1");
    int number = 5;
    _watcher.AddSetting("s", "int", &number);
    _watcher.UpdateSettings();
    _client.SetValue("[s]other", "1");
    _client.SetValue("[t]int", "1");
    _client.SetValue("[s]int", "1");
    EXPECT_FALSE(_watcher.UpdateSettings());
    _client.SetValue("[s]int", "2");
    _client.SetValue("[s]int", "1");
    EXPECT_FALSE(_watcher.TryUpdateSettings());
    EXPECT_EQ(number, 1);
}

TEST_P(SettingsWatcherTests, BringsASettingThatIsAddedLaterWithTheNextUpdate) {
    _client.SetValue("[s]a", "1");
    _client.SetValue("[s]b", "2");
    _client.SetValue("[t]a", "3");
    int first = 0;
    int second = 0;
    int third = 0;
    int again = 0;
    _watcher.AddSetting("s", "a", &first);
    _watcher.UpdateSettings();
    _watcher.AddSetting("s", "b", &second);
    EXPECT_EQ(second, 0);
    EXPECT_TRUE(_watcher.WaitForChange(milliseconds(0)));
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(second, 2);
    _watcher.AddSetting("t", "a", &third);
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(third, 3);
    _watcher.AddSetting("t", "a", &again);
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(again, 3);
    EXPECT_FALSE(_watcher.UpdateSettings());
    _client.SetValue("[t]a", "4");
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(third, 4);
    EXPECT_EQ(again, 4);
    EXPECT_EQ(first, 1);
}

TEST_P(SettingsWatcherTests, CopiesTheStoredValuesAgainAtEachUpdate) {
    _client.SetValue("[s]a", "1");
    int number = 0;
    _watcher.AddSetting("s", "a", &number);
    _watcher.UpdateSettings();
    number = 7;
    EXPECT_FALSE(_watcher.TryUpdateSettings());
    EXPECT_EQ(number, 7) << "false: nothing was updated";
    EXPECT_FALSE(_watcher.UpdateSettings());
    EXPECT_EQ(number, 1);
}

TEST_P(SettingsWatcherTests, TellsAHandlerWhichSettingsChanged) {
    std::vector<std::string> told;
    int calls = 0;
    int a = 0;
    int b = 0;
    const SettingsWatcher::ChangeHandler handler = [&](const SettingsWatcher::ChangedSettings& changed) {
        ++calls;
        told.clear();
        for (const auto& setting : changed) {
            told.push_back(setting.ToString());
        }
    };
    _client.SetValue("[s]b", "2");
    _watcher.AddSetting("s", "b", &b);
    _watcher.AddSetting("s", "a", &a);
    EXPECT_TRUE(_watcher.UpdateSettings(handler));
    EXPECT_EQ(told, (std::vector<std::string>{"[s]b", "[s]a"}));
    EXPECT_EQ(b, 2);
    EXPECT_FALSE(_watcher.UpdateSettings(handler));
    EXPECT_EQ(calls, 1);
    _client.SetValue("[s]a", "1");
    EXPECT_TRUE(_watcher.TryUpdateSettings(handler));
    EXPECT_EQ(told, (std::vector<std::string>{"[s]a"}));
    EXPECT_EQ(calls, 2);
    _client.EraseGroups("s");
    EXPECT_TRUE(_watcher.UpdateSettings(handler));
    EXPECT_EQ(told, (std::vector<std::string>{"[s]b", "[s]a"}));
    _client.SetValue("[s]c", "1");
    EXPECT_FALSE(_watcher.TryUpdateSettings(handler));
    EXPECT_EQ(calls, 3);
}

TEST_P(SettingsWatcherTests, LetsAHandlerUseTheWatcherAndThrow) {
    int a = 0;
    int b = 0;
    _watcher.AddSetting("s", "a", &a);
    EXPECT_TRUE(_watcher.UpdateSettings([&](const SettingsWatcher::ChangedSettings&) {
        _client.SetValue("[s]b", "2");
        _watcher.AddSetting("s", "b", &b);
        EXPECT_TRUE(_watcher.UpdateSettings());
    }));
    EXPECT_EQ(b, 2);
    _client.SetValue("[s]a", "3");
    EXPECT_THROW(_watcher.UpdateSettings([](const SettingsWatcher::ChangedSettings&) { throw 1; }), int);
    EXPECT_EQ(a, 3);
    EXPECT_FALSE(_watcher.UpdateSettings());
    _client.SetValue("[s]a", "4");
    EXPECT_TRUE(_watcher.UpdateSettings(SettingsWatcher::ChangeHandler()));
    EXPECT_EQ(a, 4);
}

TEST_P(SettingsWatcherTests, TakesAStarInAGroupsNameForAnOrdinaryCharacter) {
    int number = 5;
    _watcher.AddSetting("s*", "a", &number);
    _watcher.UpdateSettings();
    _client.SetValue("[s1]a", "1");
    EXPECT_FALSE(_watcher.WaitForChange(milliseconds(0)));
    EXPECT_FALSE(_watcher.UpdateSettings());
    _client.SetValue("[s*]a", "2");
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(number, 2);
}

TEST_P(SettingsWatcherTests, IsReadableAsLongAsThereMayBeSomethingToUpdate) {
    int number = 0;
    _watcher.AddSetting("s", "a", &number);
    EXPECT_TRUE(IsReadable(_watcher.FileDescriptor()));
    EXPECT_TRUE(_watcher.WaitForChange(milliseconds(0)));
    _watcher.UpdateSettings();
    EXPECT_FALSE(IsReadable(_watcher.FileDescriptor()));
    _client.SetValue("[t]a", "1");
    EXPECT_FALSE(_watcher.WaitForChange(milliseconds(0)));
    _client.SetValue("[s]a", "1");
    EXPECT_TRUE(IsReadable(_watcher.FileDescriptor()));
    EXPECT_TRUE(_watcher.WaitForChange(kLongEnough));
    _watcher.TryUpdateSettings();
    EXPECT_FALSE(IsReadable(_watcher.FileDescriptor()));
}

TEST_P(SettingsWatcherTests, SeesWhatAnotherClientDidBeforeTheUpdate) {
    const client::InProcessServer server;
    ZumraSettingsClient reader(server.Connect(GetParam()));
    ZumraSettingsClient writer(server.Connect(GetParam()));
    int number = 0;
    SettingsWatcher watcher(&reader);
    watcher.AddSetting("s", "a", &number);
    watcher.UpdateSettings();
    for (int i = 1; i < 50; ++i) {
        writer.SetValue("[s]a", std::to_string(i));
        ASSERT_TRUE(watcher.UpdateSettings()) << i;
        ASSERT_EQ(number, i);
        ASSERT_FALSE(watcher.UpdateSettings()) << i;
    }
}

}  // namespace
}  // namespace zumra::settings
