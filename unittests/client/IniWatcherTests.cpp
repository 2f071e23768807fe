#include "zumra/settings/IniWatcher.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <string>

#include "client/EveryMode.h"
#include "client/FaultyBackendTests.h"
#include "settings/client/InProcessServer.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {
namespace {

using std::chrono::milliseconds;

class IniWatcherTests : public EveryMode {
protected:
    core::IniFile All() const {
        core::IniFile all;
        _client.GetSettings("*", all);
        return all;
    }

    ZumraSettingsClient _client{GetParam()};
    core::IniFile _document;
    IniWatcher _watcher{&_client, &_document};
};

ZUMRA_INSTANTIATE_IN_EVERY_MODE(IniWatcherTests);

TEST_P(IniWatcherTests, TouchesNothingBeforeTheFirstUpdate) {
    _client.SetValue("[a]x", "1");
    _document["a"]["old"] = "1";
    const core::IniFile before = _document;
    _watcher.AddPattern("*");
    _client.SetValue("[a]x", "2");
    EXPECT_EQ(_document, before);
}

TEST_P(IniWatcherTests, RefusesToTryBeforeTheFirstUpdateAndStaysUsable) {
    _document["a"]["old"] = "1";
    const core::IniFile before = _document;
    _watcher.AddPattern("*");
    try {
        _watcher.TryUpdate();
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "TryUpdate called before Update");
    }
    EXPECT_EQ(_document, before);
    EXPECT_TRUE(_watcher.Update());
    EXPECT_TRUE(_document.empty());
    EXPECT_FALSE(_watcher.TryUpdate());
}

TEST_P(IniWatcherTests, FillsTheWatchedGroupsAndLeavesOthersAlone) {
    _client.SetValue("[a]x", "1");
    _client.SetValue("[ab]x", "2");
    _client.SetValue("[c]x", "3");
    _document["a"]["old"] = "gone";
    _document["abc"]["old"] = "gone";
    _document["c"]["old"] = "stays";
    _document["d"]["old"] = "stays";
    _watcher.AddPattern("a*");
    EXPECT_TRUE(_watcher.Update());
    core::IniFile expected;
    expected["a"]["x"] = "1";
    expected["ab"]["x"] = "2";
    expected["c"]["old"] = "stays";
    expected["d"]["old"] = "stays";
    EXPECT_EQ(_document, expected);

    _client.SetValue("[c]x", "4");
    EXPECT_FALSE(_watcher.Update());
    EXPECT_EQ(_document, expected);
}

TEST_P(IniWatcherTests, WatchesNothingWithoutAPattern) {
    _client.SetValue("[a]x", "1");
    _document["b"]["x"] = "1";
    const core::IniFile before = _document;
    EXPECT_TRUE(_watcher.Update());
    _client.SetValue("[a]x", "2");
    EXPECT_FALSE(_watcher.Update());
    EXPECT_EQ(_document, before);
}

TEST_P(IniWatcherTests, AppliesEachChangeOfThisClientAtTheNextTry) {
    _watcher.AddPattern("*");
    _watcher.Update();
    for (int i = 0; i < 50; ++i) {
        _client.SetValue("[group" + std::to_string(i % 3) + "]x", std::to_string(i));
        ASSERT_TRUE(_watcher.TryUpdate()) << i;
        ASSERT_EQ(_document, All()) << i;
        ASSERT_FALSE(_watcher.TryUpdate()) << i;
    }
    _client.EraseGroups("group1");
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_FALSE(_document.HasGroup("group1"));
    _client.EraseValue("[group2]x");
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document, All());
    EXPECT_TRUE(_document.HasGroup("group2"));
}

TEST_P(IniWatcherTests, CountsChangesThatCancelEachOtherOut) {
    _client.SetValue("[a]x", "1");
    _watcher.AddPattern("*");
    _watcher.Update();
    _client.SetValue("[a]x", "2");
    _client.SetValue("[a]x", "1");
    EXPECT_TRUE(_watcher.Update());
    _client.SetValue("[b]x", "1");
    _client.EraseGroups("b");
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document, OneSetting("a", "x", "1"));
    EXPECT_FALSE(_watcher.Update());
}

TEST_P(IniWatcherTests, DoesNotCountARewriteOfWhatThereIs) {
    _client.SetValue("[a]x", "1");
    _watcher.AddPattern("*");
    _watcher.Update();
    _client.SetValue("[a]x", "1");
    EXPECT_FALSE(_watcher.Update());
}

TEST_P(IniWatcherTests, BringsGroupsOfALaterPatternWithTheNextUpdate) {
    _client.SetValue("[a]x", "1");
    _client.SetValue("[b]x", "1");
    _client.SetValue("[c]x", "1");
    _watcher.AddPattern("a");
    _watcher.Update();
    _document["b1"]["stale"] = "1";
    _document["d"]["stays"] = "1";
    _watcher.AddPattern("b*");
    EXPECT_FALSE(_document.HasGroup("b"));
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_TRUE(_document.HasGroup("b"));
    EXPECT_FALSE(_document.HasGroup("b1"));
    EXPECT_FALSE(_document.HasGroup("c"));
    EXPECT_TRUE(_document.HasGroup("d"));
    _watcher.AddPattern("b*");
    EXPECT_FALSE(_watcher.Update()) << "added already";
    _watcher.AddPattern("c");
    EXPECT_TRUE(_watcher.Update());
    EXPECT_TRUE(_document.HasGroup("c"));
    _client.SetValue("[b]x", "2");
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document.GetValue("b", "x"), "2");
}

TEST_P(IniWatcherTests, FollowsGroupsWithAnyNameAndValue) {
    const std::string hostile("a]b\n[c]=\"\\\0x ", 13);
    core::IniFile settings = OneSetting(hostile, hostile, hostile);
    settings["."][""] = "\r\n.\n";
    settings[""]["."] = " ";
    settings["star*"]["x"] = "1";
    _watcher.AddPattern("*");
    _watcher.Update();
    _client.MergeSettings(settings);
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document, settings);
}

TEST_P(IniWatcherTests, KeepsTheDocumentWhenDestroyed) {
    _client.SetValue("[a]x", "1");
    core::IniFile document;
    {
        IniWatcher watcher(&_client, &document);
        watcher.AddPattern("*");
        watcher.Update();
        _client.SetValue("[a]x", "2");
    }
    _client.SetValue("[a]x", "3");
    EXPECT_EQ(document, OneSetting("a", "x", "1"));
}

TEST_P(IniWatcherTests, IsReadableAsLongAsThereIsSomethingToUpdate) {
    _watcher.AddPattern("a");
    EXPECT_TRUE(IsReadable(_watcher.FileDescriptor()));
    EXPECT_TRUE(_watcher.WaitForChange(milliseconds(0)));
    _watcher.Update();
    EXPECT_FALSE(IsReadable(_watcher.FileDescriptor()));
    EXPECT_FALSE(_watcher.WaitForChange(milliseconds(0)));
    _client.SetValue("[b]x", "1");
    EXPECT_FALSE(IsReadable(_watcher.FileDescriptor()));
    _client.SetValue("[a]x", "1");
    EXPECT_TRUE(IsReadable(_watcher.FileDescriptor()));
    EXPECT_TRUE(_watcher.WaitForChange(kLongEnough));
    _watcher.TryUpdate();
    EXPECT_FALSE(IsReadable(_watcher.FileDescriptor()));
}

TEST_P(IniWatcherTests, SeveralWatchersOfOneClientDoNotDisturbEachOther) {
    core::IniFile other;
    auto second = std::make_unique<IniWatcher>(&_client, &other);
    _watcher.AddPattern("a*");
    second->AddPattern("ab*");
    _watcher.Update();
    second->Update();
    _client.SetValue("[abc]x", "1");
    _client.SetValue("[a]x", "1");
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_TRUE(second->TryUpdate());
    EXPECT_EQ(_document.size(), 2u);
    EXPECT_EQ(other, OneSetting("abc", "x", "1"));
    second.reset();
    _client.SetValue("[abc]x", "2");
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document.GetValue("abc", "x"), "2");
}

TEST_P(IniWatcherTests, SeesWhatAnotherClientDidBeforeTheUpdate) {
    const client::InProcessServer server;
    ZumraSettingsClient reader(server.Connect(GetParam()));
    ZumraSettingsClient writer(server.Connect(GetParam()));
    core::IniFile document;
    IniWatcher watcher(&reader, &document);
    watcher.AddPattern("*");
    watcher.Update();
    for (int i = 0; i < 50; ++i) {
        writer.SetValue("[a]x", std::to_string(i));
        ASSERT_TRUE(watcher.Update()) << i;
        ASSERT_EQ(document.GetValue("a", "x"), std::to_string(i));
        ASSERT_FALSE(watcher.Update()) << i;
    }
}

class IniWatcherFaultTests : public FaultyBackendTests {
protected:
    core::IniFile _document;
    IniWatcher _watcher{&_client, &_document};
};

TEST_F(IniWatcherFaultTests, NeedsAClientAndADocument) {
    try {
        IniWatcher watcher(nullptr, &_document);
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "IniWatcher: no client");
    }
    try {
        IniWatcher watcher(&_client, nullptr);
        FAIL() << "nothing thrown";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "IniWatcher: no document");
    }
}

TEST_F(IniWatcherFaultTests, SaysThatNoDescriptorIsLeft) {
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    const rlimit none{0, old.rlim_max};
    std::string text;
    ::setrlimit(RLIMIT_NOFILE, &none);
    try {
        const IniWatcher watcher(&_client, &_document);
    } catch (const osa::Exception& error) {
        text = error.what();
    }
    ::setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_EQ(text, "Failed to create the file descriptor of a watcher: Too many open files");
}

TEST_F(IniWatcherFaultTests, MakesUpForAFirstUpdateThatFailed) {
    _client.SetValue("[a]x", "1");
    _document["b"]["old"] = "1";
    const core::IniFile before = _document;
    _watcher.AddPattern("*");
    Fail("Follow");
    EXPECT_THROW(_watcher.Update(), osa::Exception);
    EXPECT_EQ(_document, before);
    EXPECT_THROW(_watcher.TryUpdate(), osa::Exception);
    EXPECT_TRUE(_watcher.WaitForChange(milliseconds(0)));
    Mend();
    EXPECT_TRUE(_watcher.Update());
    EXPECT_EQ(_document, OneSetting("a", "x", "1"));
}

TEST_F(IniWatcherFaultTests, MakesUpForALaterUpdateThatFailed) {
    _watcher.AddPattern("*");
    _watcher.Update();
    _client.SetValue("[a]x", "1");
    Fail("Sync");
    EXPECT_THROW(_watcher.Update(), osa::Exception);
    EXPECT_TRUE(_document.empty());
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document, OneSetting("a", "x", "1"));
}

TEST_F(IniWatcherFaultTests, KeepsAPatternThatCouldNotBeAskedFor) {
    _client.SetValue("[a]x", "1");
    _watcher.Update();
    Fail("Follow");
    EXPECT_THROW(_watcher.AddPattern("a"), osa::Exception);
    EXPECT_THROW(_watcher.Update(), osa::Exception);
    EXPECT_FALSE(_watcher.TryUpdate());
    Mend();
    EXPECT_TRUE(_watcher.Update());
    EXPECT_EQ(_document, OneSetting("a", "x", "1"));
}

TEST_F(IniWatcherFaultTests, LeavesGroupsAloneThatCouldNotBeAskedForYet) {
    _watcher.AddPattern("a");
    _watcher.Update();
    _backend->Reconnect(OneSetting("b", "x", "1"));
    Fail("Follow");
    EXPECT_THROW(_watcher.AddPattern("b"), osa::Exception);
    _document["b"]["x"] = "old";
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document, OneSetting("b", "x", "old"));
    Mend();
    EXPECT_TRUE(_watcher.Update());
    EXPECT_EQ(_document, OneSetting("b", "x", "1"));
}

TEST_F(IniWatcherFaultTests, TakesAReconnectionForAChange) {
    _client.SetValue("[a]x", "1");
    _watcher.AddPattern("*");
    _watcher.Update();
    _client.SetValue("[b]x", "1");
    _backend->Reconnect(OneSetting("c", "x", "1"));
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_EQ(_document, OneSetting("c", "x", "1"));
    EXPECT_FALSE(_watcher.TryUpdate());
}

TEST_F(IniWatcherFaultTests, AsksTheServerForNothingWhenItTries) {
    _watcher.AddPattern("*");
    _watcher.Update();
    _client.SetValue("[a]x", "1");
    _backend->onCall = [](const std::string& operation) { ADD_FAILURE() << operation; };
    EXPECT_TRUE(_watcher.TryUpdate());
    EXPECT_FALSE(_watcher.TryUpdate());
    EXPECT_FALSE(_watcher.WaitForChange(milliseconds(0)));
}

}  // namespace
}  // namespace zumra::settings
