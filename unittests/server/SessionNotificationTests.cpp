#include <gtest/gtest.h>

#include <thread>

#include "server/SessionHarness.h"
#include "zumra/settings/server/IRestrictedSettingsLoader.h"

namespace zumra::settings::server::testing {
namespace {

std::string Changed(const std::string& group, const std::string& name, const std::string& value) {
    return "async change\n" + group + "\n.\n[" + group + "]\n" + name + " = " + value + "\n\n.\n";
}

TEST(SessionNotificationTests, OneConnectionsChangesReachTheOthers) {
    Server server;
    int woken = 0;
    Session writer(server.env, {});
    Session reader(server.env, {{}, nullptr, [&woken] { ++woken; }, nullptr});
    Session idle(server.env, {{}, nullptr, [] { FAIL(); }, nullptr});
    EXPECT_EQ(Feed(reader, "subscribe\na\nb*\n.\n"), "");
    EXPECT_EQ(Feed(idle, "subscribe\nother\n.\n"), "");
    EXPECT_EQ(woken, 0);

    EXPECT_EQ(Feed(writer, "merge\n[a]\nx=1\n[b1]\nx=1\n[c]\nx=1\n.\nsync\n"), "synced\n");
    EXPECT_EQ(woken, 1);
    EXPECT_EQ(reader.TakeOutput(), "async change\na\nb1\n.\n[a]\nx = 1\n\n[b1]\nx = 1\n\n.\n");
    EXPECT_EQ(Feed(writer, "merge\n[a]\nx=2\n.\nmerge\n[a]\nx=3\n.\n"), "");
    EXPECT_EQ(woken, 2);
    EXPECT_EQ(reader.TakeOutput(), Changed("a", "x", "2") + Changed("a", "x", "3"));
    EXPECT_EQ(Feed(writer, "merge\n[c]\nx=2\n.\nmerge\n[a]\nx=3\n.\n"), "");
    EXPECT_EQ(woken, 2);
    EXPECT_FALSE(reader.HasOutput());
}

TEST(SessionNotificationTests, EachConnectionHasItsOwnFormat) {
    Server server;
    Session ini(server.env, {});
    Session phpArray(server.env, {});
    Feed(ini, "subscribe\na\n.\n");
    Feed(phpArray, "subscribe\na\n.\nserialize phparray\n");
    server.manager->SetValue("a", "x", "1");
    EXPECT_EQ(ini.TakeOutput(), Changed("a", "x", "1"));
    EXPECT_EQ(phpArray.TakeOutput(), "async change\na\n.\na:1:{s:1:\"a\";a:1:{s:1:\"x\";s:1:\"1\";}}\n\n.\n");
}

TEST(SessionNotificationTests, GroupsAreAsOfTheirCommit) {
    Server server;
    Session session(server.env, {});
    Feed(session, "subscribe\na\n.\n");
    server.manager->SetValue("a", "x", "1");
    server.manager->SetValue("a", "y", "2");
    server.manager->EraseGroups(common::GroupNameMatcher("a"));
    EXPECT_EQ(session.TakeOutput(), Changed("a", "x", "1") +
                                        "async change\na\n.\n[a]\nx = 1\ny = 2\n\n.\n"
                                        "async change\na\n.\n.\n");
}

TEST(SessionNotificationTests, DestroyedSessionIsToldNothing) {
    Server server;
    auto session = std::make_unique<Session>(server.env, Session::Options{});
    Feed(*session, "subscribe\n*\n.\n");
    session.reset();
    server.manager->SetValue("a", "x", "1");
    EXPECT_EQ(server.Text(), "[a]\nx = 1\n\n");
}

TEST(SessionNotificationTests, AnEndedInputIsServedNoNotifications) {
    Server server;
    Session session(server.env, {});
    Feed(session, "subscribe\n*\n.\n");
    server.manager->SetValue("a", "x", "1");
    EXPECT_EQ(Finish(session), Changed("a", "x", "1"));
    EXPECT_TRUE(session.Ended());
    server.manager->SetValue("a", "x", "2");
    EXPECT_FALSE(session.HasOutput());
}

TEST(SessionNotificationTests, ASlowReaderLosesItsConnectionAndNobodyElseTheirs) {
    Server server;
    int woken = 0;
    SessionLimits limits;
    limits.pendingOutput = 200;
    Session slow(server.env, {limits, nullptr, [&woken] { ++woken; }, nullptr});
    Session good(server.env, {});
    Feed(slow, "subscribe\na\n.\n");
    Feed(good, "subscribe\na\n.\n");
    std::string expected;
    for (int i = 0; i < 50; ++i) {
        server.manager->SetValue("a", "x", std::to_string(i));
        expected += Changed("a", "x", std::to_string(i));
    }
    EXPECT_TRUE(slow.Ended());
    EXPECT_EQ(slow.EndReason(), "output queue over its limit of 200 bytes");
    EXPECT_EQ(slow.TakeOutput(), "");
    EXPECT_EQ(slow.PendingOutput(), 0U);
    EXPECT_EQ(woken, 2) << "for its first output, and for its end";
    EXPECT_EQ(Feed(slow, "sync\n"), "");
    EXPECT_EQ(good.TakeOutput(), expected);
    EXPECT_FALSE(good.Ended());
}

TEST(SessionNotificationTests, ReadersThatFetchAreNotSlow) {
    Server server;
    SessionLimits limits;
    limits.pendingOutput = 200;
    Session session(server.env, {limits, nullptr, nullptr, nullptr});
    Feed(session, "subscribe\na\n.\n");
    for (int i = 0; i < 50; ++i) {
        server.manager->SetValue("a", "x", std::to_string(i));
        EXPECT_EQ(session.TakeOutput(), Changed("a", "x", std::to_string(i)));
    }
    EXPECT_FALSE(session.Ended());
}

class Restrictions : public IRestrictedSettingsLoader {
public:
    RestrictedGroups LoadRestrictedGroups() override {
        RestrictedGroups::Users root;
        root.uids = {0};
        RestrictedGroups::Users everyone;
        everyone.everyone = true;
        RestrictedGroups restricted;
        restricted.rules.push_back({common::GroupNameMatcher("secret*"), root, root});
        restricted.rules.push_back({common::GroupNameMatcher("public"), everyone, root});
        return restricted;
    }
};

class SessionRightsTests : public ::testing::Test {
protected:
    static Session::Options As(std::uint32_t uid) {
        auto identity = std::make_shared<Identity>();
        identity->uid = uid;
        return {{}, std::move(identity), nullptr, nullptr};
    }

    Restrictions _restrictions;
    Server _server{"[secret/1]\nx=1\n[public]\nx=1\n[other]\nx=1\n", &_restrictions};
    Session _root{_server.env, As(0)};
    Session _user{_server.env, As(1000)};
};

TEST_F(SessionRightsTests, WhatMayNotBeReadIsNotThere) {
    EXPECT_EQ(Feed(_user, "get\n*\n.\n"), "[other]\nx = 1\n\n[public]\nx = 1\n\n");
    EXPECT_EQ(Feed(_root, "get\nsecret*\n.\n"), "[secret/1]\nx = 1\n\n");
    EXPECT_EQ(Feed(_user, "get-value\n[secret/1]x\n[public]x\n[other]y\n.\n"),
              "data\n[other]\n\n[public]\nx = 1\n\n.\n");
    EXPECT_EQ(Feed(_root, "get-value\n[secret/1]x\n.\n"), "data\n[secret/1]\nx = 1\n\n.\n");
    EXPECT_EQ(Feed(_user, "test-and-merge explain\n[secret/1]\nx=1\n.\n.\n"),
              "result\nrefused\nsecret/1\nname x\nexpected 1\n.\n");
}

TEST_F(SessionRightsTests, NotificationsShowOnlyWhatMayBeRead) {
    Feed(_user, "subscribe\n*\n.\n");
    Feed(_root, "subscribe\n*\n.\n");
    EXPECT_EQ(Feed(_root, "merge\n[secret/1]\nx=2\n[other]\nx=2\n.\n"),
              "async change\nother\nsecret/1\n.\n[other]\nx = 2\n\n[secret/1]\nx = 2\n\n.\n");
    EXPECT_EQ(_user.TakeOutput(), Changed("other", "x", "2"));
    Feed(_root, "merge\n[secret/1]\nx=3\n.\nerase\nsecret/1\n.\n");
    EXPECT_FALSE(_user.HasOutput());
}

TEST_F(SessionRightsTests, AForbiddenWriteIsRefusedWhole) {
    const std::string before = _server.Text();
    const auto refused = [](const std::string& group) {
        return "error\nnot allowed to write group '" + group + "'\n";
    };
    EXPECT_EQ(Feed(_user, "merge\n[other]\nx=2\n[public]\nx=2\n.\n"), refused("public"));
    EXPECT_EQ(Feed(_user, "overwrite\n*\n.\n[new]\nx=1\n.\n"), refused("public"));
    EXPECT_EQ(Feed(_user, "test-and-merge\n.\n[secret/2]\n.\n"), refused("secret/2"));
    EXPECT_EQ(Feed(_user, "erase\nother\npublic\n.\n"), refused("public"));
    EXPECT_EQ(Feed(_user, "erase-value\n[other]x\n[public]x\n.\n"), refused("public"));
    EXPECT_EQ(_server.Text(), before);
    EXPECT_TRUE(_user.InputUnderstood());
    EXPECT_EQ(Feed(_user, "merge\n[other]\nx=2\n.\nget\nother\n.\n"), "[other]\nx = 2\n\n");
    EXPECT_EQ(Feed(_root, "merge\n[public]\nx=2\n.\nget\npublic\n.\n"), "[public]\nx = 2\n\n");
}

}  // namespace
}  // namespace zumra::settings::server::testing
