#include <gtest/gtest.h>

#include <string>

#include "client/EveryMode.h"
#include "client/FaultyBackendTests.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/SettingsWatcher.h"

namespace zumra::settings {
namespace {

class SettingsWatcherFaultTests : public FaultyBackendTests {
protected:
    SettingsWatcher _watcher{&_client};
};

TEST_F(SettingsWatcherFaultTests, NeedsAClientAndVariables) {
    try {
        SettingsWatcher watcher(nullptr);
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "SettingsWatcher: no client");
    }
    try {
        _watcher.AddSetting("s", "a", static_cast<int*>(nullptr));
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "SettingsWatcher: no variable for [s]a");
    }
    EXPECT_TRUE(_watcher.UpdateSettings());
}

TEST_F(SettingsWatcherFaultTests, MakesUpForAFirstUpdateThatFailed) {
    _client.SetValue("[s]a", "1");
    int number = 5;
    _watcher.AddSetting("s", "a", &number);
    Fail("Follow");
    EXPECT_THROW(_watcher.UpdateSettings(), osa::Exception);
    EXPECT_THROW(_watcher.TryUpdateSettings(), osa::Exception);
    EXPECT_EQ(number, 5);
    Mend();
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(number, 1);
}

TEST_F(SettingsWatcherFaultTests, MakesUpForALaterUpdateThatFailed) {
    int number = 5;
    _watcher.AddSetting("s", "a", &number);
    _watcher.UpdateSettings();
    _client.SetValue("[s]a", "1");
    Fail("Sync");
    EXPECT_THROW(_watcher.UpdateSettings(), osa::Exception);
    EXPECT_EQ(number, 0);
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(number, 1);
}

TEST_F(SettingsWatcherFaultTests, DoesNotBindWhatCouldNotBeAskedFor) {
    _client.SetValue("[s]a", "1");
    int number = 5;
    _watcher.UpdateSettings();
    Fail("Follow");
    EXPECT_THROW(_watcher.AddSetting("s", "a", &number), osa::Exception);
    Mend();
    _watcher.UpdateSettings();
    EXPECT_EQ(number, 5);
    _watcher.AddSetting("s", "a", &number);
    EXPECT_TRUE(_watcher.UpdateSettings());
    EXPECT_EQ(number, 1);
}

TEST_F(SettingsWatcherFaultTests, ReadsAllAfterAReconnection) {
    _client.SetValue("[s]a", "1");
    _client.SetValue("[s]b", "2");
    int a = 0;
    int b = 0;
    _watcher.AddSetting("s", "a", &a);
    _watcher.AddSetting("t", "b", &b);
    _watcher.UpdateSettings();
    _backend->Reconnect(OneSetting("s", "a", "1"));
    EXPECT_FALSE(_watcher.TryUpdateSettings()) << "nothing bound changed";
    _backend->Reconnect(OneSetting("t", "b", "2"));
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_EQ(a, 0);
    EXPECT_EQ(b, 2);
}

TEST_F(SettingsWatcherFaultTests, AsksTheServerForNothingWhenItTriesLater) {
    int number = 0;
    _watcher.AddSetting("s", "a", &number);
    _watcher.UpdateSettings();
    _client.SetValue("[s]a", "1");
    _backend->onCall = [](const std::string& operation) { ADD_FAILURE() << operation; };
    EXPECT_TRUE(_watcher.TryUpdateSettings());
    EXPECT_FALSE(_watcher.TryUpdateSettings());
    _watcher.AddSetting("s", "b", &number);
    EXPECT_TRUE(_watcher.TryUpdateSettings());
}

}  // namespace
}  // namespace zumra::settings
