#include <gtest/gtest.h>

#include "server/SessionHarness.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server::testing {
namespace {

Session::Options WithReports() {
    SessionReports reports;
    reports["stats"] = [](const Identity* who) {
        core::IniFile document;
        document["Asked"]["by"] = who == nullptr ? "the program" : std::to_string(who->uid.value_or(0));
        return document;
    };
    reports["clients all"] = [](const Identity*) -> core::IniFile { throw osa::Exception("not for you"); };
    reports["what"] = [](const Identity*) -> core::IniFile { throw 7; };
    return {{}, nullptr, nullptr, std::make_shared<const SessionReports>(std::move(reports))};
}

TEST(SessionReportTests, AreAnsweredLikeADelimitedGet) {
    Server server;
    Session session(server.env, WithReports());
    EXPECT_EQ(Feed(session, "stats\n"), "data\n[Asked]\nby = the program\n\n.\n");
    EXPECT_EQ(Feed(session, "serialize phparray\nstats\n"),
              "data\na:1:{s:5:\"Asked\";a:1:{s:2:\"by\";s:11:\"the program\";}}\n\n.\n");
    EXPECT_TRUE(session.InputUnderstood());
}

TEST(SessionReportTests, KnowWhoAsks) {
    Server server;
    Session::Options options = WithReports();
    auto identity = std::make_shared<Identity>();
    identity->uid = 1000;
    options.identity = std::move(identity);
    Session session(server.env, std::move(options));
    EXPECT_EQ(Feed(session, "stats\n"), "data\n[Asked]\nby = 1000\n\n.\n");
}

TEST(SessionReportTests, MayRefuse) {
    Server server;
    Session session(server.env, WithReports());
    EXPECT_EQ(Feed(session, "clients all\nsync\n"), "error\nnot for you\nsynced\n");
    EXPECT_EQ(Feed(session, "what\nsync\n"), "error\nunknown error\nsynced\n");
    EXPECT_TRUE(session.InputUnderstood());
}

TEST(SessionReportTests, AreCapabilities) {
    Server server;
    Session session(server.env, WithReports());
    const std::string reply = Feed(session, "capabilities\n");
    EXPECT_NE(reply.find("\nstats\n"), std::string::npos);
    EXPECT_NE(reply.find("\nclients all\n"), std::string::npos);
    EXPECT_NE(reply.find("\nsync\n"), std::string::npos);
}

TEST(SessionReportTests, OthersAreUnknownStill) {
    Server server;
    Session session(server.env, WithReports());
    EXPECT_EQ(Feed(session, "stats \n"), "error\nunknown command 'stats '\n");
    EXPECT_FALSE(session.InputUnderstood());
}

}  // namespace
}  // namespace zumra::settings::server::testing
