#include <gtest/gtest.h>

#include "server/SessionHarness.h"

namespace zumra::settings::server::testing {
namespace {

SessionLimits Small() {
    SessionLimits limits;
    limits.line = 40;
    limits.document = 100;
    limits.listEntries = 4;
    limits.pendingOutput = 400;
    return limits;
}

std::string Error(const std::string& message) {
    return "error\n" + message + "\n";
}

/// Whole and bytewise; nothing may be left in the store.
void ExpectRefused(const std::string& request, const std::string& reply) {
    Server server;
    EXPECT_EQ(RunWhole(server, request + "sync\n", Small()), reply + "synced\n") << request;
    EXPECT_EQ(server.Text(), "") << request;
    Session bytewise(server.env, {Small(), nullptr, nullptr, nullptr});
    std::string output;
    for (const char byte : request) {
        output += Feed(bytewise, std::string_view(&byte, 1));
    }
    EXPECT_EQ(output, reply) << request;
    EXPECT_EQ(server.Text(), "") << request;
}

TEST(SessionLimitTests, LongCommandLine) {
    ExpectRefused(std::string(41, 'x') + "\n", Error("line over its limit of 40 bytes"));
    ExpectRefused(std::string(40, 'x') + "\n", Error("unknown command '" + std::string(40, 'x') + "'"));
}

TEST(SessionLimitTests, UnknownCommandIsQuotedInPart) {
    Server server;
    const std::string reply = RunWhole(server, std::string(100000, 'x') + "\n");
    EXPECT_TRUE(reply.starts_with("error\nunknown command 'xxx"));
    EXPECT_LT(reply.size(), 200U);
}

TEST(SessionLimitTests, LongLineInAList) {
    ExpectRefused("get\na\n" + std::string(41, 'x') + "\nb\n.\n",
                  Error("get: line over its limit of 40 bytes"));
}

TEST(SessionLimitTests, LongLineInADocument) {
    ExpectRefused("merge\n[a]\nx=" + std::string(39, 'x') + "\ny=1\n.\n",
                  Error("merge: line over its limit of 40 bytes"));
    ExpectRefused("overwrite\n" + std::string(41, 'x') + "\n.\n[a]\nx=1\n.\n",
                  Error("overwrite: line over its limit of 40 bytes"));
}

TEST(SessionLimitTests, ListEntries) {
    Server server;
    EXPECT_EQ(RunWhole(server, "get\na\nb\nc\nd\n.\n", Small()), "");
    ExpectRefused("erase\na\nb\nc\nd\ne\nf\n.\n", Error("erase: list over its limit of 4 entries"));
    ExpectRefused("erase-value\n[a]x\n[a]x\n[a]x\n[a]x\n[a]x\n.\n",
                  Error("erase-value: list over its limit of 4 entries"));
    ExpectRefused("get-value\n[a]x\n[a]x\n[a]x\n[a]x\n[a]x\n.\n",
                  Error("get-value: list over its limit of 4 entries"));
}

TEST(SessionLimitTests, ListBytes) {
    const std::string name(33, 'x');
    ExpectRefused("restore\n" + name + "1\n" + name + "2\n" + name + "3\n.\n",
                  Error("restore: list over its limit of 100 bytes"));
}

TEST(SessionLimitTests, DocumentBytes) {
    const std::string value(31, 'v');  // 2 + 31 + 1 bytes a line
    const std::string three = "a=" + value + "\nb=" + value + "\nc=" + value + "\n";
    ExpectRefused("merge\n[]\n" + three + "d=1\n.\n", Error("merge: document over its limit of 100 bytes"));
    ExpectRefused("test-and-merge\n[]\n" + three + ".\n[a]\nx=1\n.\n",
                  Error("test-and-merge: document over its limit of 100 bytes"));
    ExpectRefused("merge\n[]\n" + three.substr(0, 97) + "\n.\n",
                  Error("merge: document over its limit of 100 bytes"));
    Server server;
    EXPECT_EQ(RunWhole(server, "merge\n[]\n" + three.substr(0, 96) + "\n.\n", Small()), "");
    EXPECT_NE(server.Text(), "");
}

TEST(SessionLimitTests, TheLimitIsEachDocumentsOwn) {
    Server server;
    std::string request;
    for (int i = 0; i < 20; ++i) {
        request += "test-and-merge\n[none]\n.\n[a]\nx=" + std::string(30, 'v') + "\n.\n";
    }
    EXPECT_NE(RunWhole(server, request, Small()).find("ok"), std::string::npos);
    EXPECT_EQ(RunWhole(server, request, Small()).find("error"), std::string::npos);
}

TEST(SessionLimitTests, AnnouncedSizeOverTheLimitEndsTheConnectionAtOnce) {
    Server server;
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    EXPECT_EQ(Feed(session, "serialize phparray\nmerge\na:1:{s:2000000000:\""),
              Error("merge: phparray document is longer than the limit of 100 bytes"));
    EXPECT_TRUE(session.Ended());
    EXPECT_EQ(session.EndReason(), "merge: phparray document is longer than the limit of 100 bytes");
    EXPECT_EQ(Feed(session, "sync\n"), "");
    EXPECT_EQ(server.Text(), "");
}

TEST(SessionLimitTests, SubscriptionsAreLimitedTogether) {
    Server server;
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    EXPECT_EQ(Feed(session, "subscribe\na\nb*\nc\n.\nsubscribe\na\nd\n.\n"), "");
    EXPECT_EQ(Feed(session, "subscribe\na\ne\n.\n"),
              Error("subscribe: subscriptions over their limit of 4 entries"));
    EXPECT_EQ(session.Subscriptions().Names().size(), 3U);
    EXPECT_EQ(Feed(session, "unsubscribe\na\nnever\n.\nsubscribe\ne\n.\n"), "");
    EXPECT_EQ(Feed(session, "merge\n[a]\n[e]\n.\n"), "async change\ne\n.\n[e]\n\n.\n");

    Session other(server.env, {Small(), nullptr, nullptr, nullptr});
    const std::string name(36, 'x');
    EXPECT_EQ(Feed(other, "subscribe\n" + name + "1\n" + name + "2\n.\n"), "");
    EXPECT_EQ(Feed(other, "subscribe\n" + name + "3\n.\n"),
              Error("subscribe: subscriptions over their limit of 100 bytes"));
    EXPECT_EQ(Feed(other, "unsubscribe\n" + name + "1\n.\nsubscribe\n" + name + "3\n.\n"), "");
}

/// What one connection asks for must not cost the others time, however it asks: were each entry to cost what
/// all before it cost, this would take an hour.
TEST(SessionLimitTests, AllSubscriptionsOneByOne) {
    Server server;
    Session session(server.env, {});
    const std::size_t count = SessionLimits().listEntries;
    for (const std::string command : {"subscribe", "unsubscribe"}) {
        for (std::size_t i = 0; i < count; ++i) {
            session.Feed(command + "\nResources/DSP/Consumers/" + std::to_string(i) + "\n.\n");
        }
        EXPECT_EQ(session.Subscriptions().Names().size(), command == "subscribe" ? count : 0);
    }
    EXPECT_FALSE(session.HasOutput());
}

TEST(SessionLimitTests, AReplyOverTheLimitEndsTheConnection) {
    Server server;
    RunWhole(server, "merge\n[a]\nx=" + std::string(500, 'x') + "\n.\n");
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    EXPECT_EQ(Feed(session, "sync\n"), "synced\n");
    EXPECT_EQ(Feed(session, "get\n*\n.\nsync\n"), "");
    EXPECT_TRUE(session.Ended());
    EXPECT_EQ(session.EndReason(), "output queue over its limit of 400 bytes");
    EXPECT_TRUE(session.InputUnderstood());
}

TEST(SessionLimitTests, OnlyWhatIsReadOfALargeGroupCounts) {
    Server server;
    RunWhole(server, "merge\n[a]\nlarge=" + std::string(500, 'x') + "\nsmall=1\n.\n");
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    EXPECT_EQ(Feed(session, "get-value\n[a]small\n.\n"), "data\n[a]\nsmall = 1\n\n.\n");
    EXPECT_EQ(Feed(session, "get-value\n[a]large\n[a]small\n.\nsync\n"), "");
    EXPECT_TRUE(session.Ended());
    EXPECT_EQ(session.EndReason(), "output queue over its limit of 400 bytes");
}

/// Entries of one request must not cost what all of them cost.
TEST(SessionLimitTests, AsManyValuesAsAListMayHold) {
    Server server;
    const std::size_t count = SessionLimits().listEntries;
    core::IniFile all;
    std::string request = "get-value\n";
    for (std::size_t i = 0; i < count; ++i) {
        const std::string group = "group " + std::to_string(i % 100);
        const std::string name = std::to_string(i);
        all[group][name] = name;
        request += "[" + group + "]" + name + "\n";
    }
    server.manager->MergeSettings(all);
    server.manager->SetValue("group 1", "not asked for", "1");
    EXPECT_TRUE(RunWhole(server, request + ".\n") == "data\n" + all.SaveToString() + ".\n");
}

TEST(SessionLimitTests, ManyRequestsDoNotOverflowTheOutput) {
    Server server;
    RunWhole(server, "merge\n[a]\nx=" + std::string(150, 'x') + "\n.\n");
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    std::string request;
    for (int i = 0; i < 200; ++i) {
        request += "get\n*\n.\n";
    }
    session.Feed(request);
    EXPECT_TRUE(session.Waiting());
    EXPECT_LE(session.PendingOutput(), 400U);
    EXPECT_EQ(Drain(session).size(), 200 * std::string("[a]\nx = \n\n").size() + 200 * 150);
    EXPECT_FALSE(session.Waiting());
    EXPECT_FALSE(session.Ended());
}

TEST(SessionLimitTests, InputIsKeptWhileTheOutputIsFullButNotWithoutBound) {
    Server server;
    RunWhole(server, "merge\n[a]\nx=" + std::string(300, 'x') + "\n.\n");
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    session.Feed("get\n*\n.\nsync\n");
    EXPECT_TRUE(session.Waiting());
    session.Feed(std::string(95, '\n'));
    EXPECT_FALSE(session.Ended());
    session.Feed("sync\n");
    EXPECT_TRUE(session.Ended());
    EXPECT_EQ(session.EndReason(), "input queue over its limit of 100 bytes");
    EXPECT_FALSE(session.HasOutput());
}

TEST(SessionLimitTests, FinishWhileTheOutputIsFullIsRemembered) {
    Server server;
    RunWhole(server, "merge\n[a]\nx=" + std::string(300, 'x') + "\n.\n");
    Session session(server.env, {Small(), nullptr, nullptr, nullptr});
    session.Feed("get\n*\n.\nsync");
    session.Finish();
    EXPECT_FALSE(session.Ended());
    EXPECT_TRUE(Drain(session).ends_with("synced\n"));
    EXPECT_TRUE(session.Ended());
    EXPECT_EQ(session.EndReason(), "");
}

TEST(SessionLimitTests, NothingIsAllowedWithLimitsOfNothing) {
    Server server;
    const SessionLimits nothing{0, 0, 0, 0};
    Session session(server.env, {nothing, nullptr, nullptr, nullptr});
    session.Feed("merge\n[a]\nx=1\n.\n");
    EXPECT_TRUE(session.Ended());
    EXPECT_EQ(session.EndReason(), "output queue over its limit of 0 bytes");
    EXPECT_EQ(server.Text(), "");
}

}  // namespace
}  // namespace zumra::settings::server::testing
