#include <gtest/gtest.h>

#include <future>

#include "client/Exchanges.h"
#include "client/SocketServer.h"
#include "support/Thrown.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using std::chrono::milliseconds;
using test::ListeningSocket;
using test::PlayedConnection;
using test::Thrown;

const std::string kKnowsIt = "capabilities\ncapabilities\nget-value\nsomething newer\n\"quo\\nted\"\n.\n";
const std::string kLacksIt = "capabilities\ncapabilities\nerase-value\nget-value explain\nget-\n.\n";
const std::string kLargeGroup = "data\n[a]\nw = 0\nx = 1\ny = 2\n\n.\n";

/// Values read over a socket from a server that the test plays.
class SingleValueTests : public testing::Test {
protected:
    void SetUp() override { _listening.Open(); }

    [[nodiscard]] Client::RemoteOptions Options() const {
        Client::RemoteOptions options;
        options.socketPath = _listening.Path();
        options.patience = std::chrono::minutes(1);
        options.silence = std::chrono::minutes(1);
        return options;
    }
    /// The next connection, found to be alive by the client.
    [[nodiscard]] PlayedConnection Welcome() const {
        PlayedConnection connection = _listening.Play();
        connection.Answer("sync", "synced\n");
        return connection;
    }
    static std::future<std::string> Read(const Client& client, const std::string& locator = "[a]x") {
        return std::async(std::launch::async,
                          [&client, locator] { return client.FindValue(locator).value_or("none"); });
    }

    ListeningSocket _listening;
};

TEST_F(SingleValueTests, OnlyTheValueIsAskedForWhereTheServerKnowsHow) {
    const Client client(Options());
    PlayedConnection server = Welcome();
    auto value = Read(client);
    server.Answer("capabilities", kKnowsIt);
    EXPECT_EQ(server.AwaitLine("."), "get-value\n[a]x\n");
    server.Say("data\n[a]\nx = 1\n\n.\n");
    EXPECT_EQ(value.get(), "1");
}

TEST_F(SingleValueTests, ServerIsAskedWhatItKnowsOnce) {
    const Client client(Options());
    PlayedConnection server = Welcome();
    auto value = Read(client);
    EXPECT_EQ(server.AwaitLine("capabilities"), "");
    server.Say(kKnowsIt);
    for (const std::string reply : {"data\n.\n", "data\n[a]\n\n.\n"}) {
        EXPECT_EQ(server.AwaitLine("."), "get-value\n[a]x\n");
        server.Say(reply);
        EXPECT_EQ(value.get(), "none");
        value = Read(client);
    }
    EXPECT_EQ(server.AwaitLine("."), "get-value\n[a]x\n");
    server.Say("data\n[a]\nx = \n\n.\n");
    EXPECT_EQ(value.get(), "");
}

TEST_F(SingleValueTests, WholeGroupIsReadFromAnOlderServer) {
    for (const std::string& answer : {kLacksIt, std::string("capabilities\n.\n"),
                                      std::string("error\nunknown command 'capabilities'\n")}) {
        const Client client(Options());
        PlayedConnection server = Welcome();
        auto value = Read(client);
        server.Answer("capabilities", answer);
        for (const char* const expected : {"1", "2", "none"}) {
            EXPECT_EQ(server.AwaitLine("."), "get delimited\na\n") << answer;
            server.Say(kLargeGroup);
            EXPECT_EQ(value.get(), expected) << answer;
            value = Read(client, *expected == '1' ? "[a]y" : "[a]z");
        }
        server.Answer(".", "data\n.\n");
        EXPECT_EQ(value.get(), "none") << answer;
    }
}

TEST_F(SingleValueTests, ErrorOfTheReadIsThrown) {
    const Client client(Options());
    PlayedConnection server = Welcome();
    auto error = std::async(std::launch::async,
                            [&] { return Thrown([&] { static_cast<void>(client.GetValue("[a]x")); }); });
    server.Answer("capabilities", kKnowsIt);
    server.Answer(".", "error\nout of memory\n");
    EXPECT_EQ(error.get(), "out of memory");
    auto value = Read(client);
    EXPECT_EQ(server.AwaitLine("."), "get-value\n[a]x\n") << "and it is asked in the same way";
    server.Say("data\n[a]\nx = 1\n\n.\n");
    EXPECT_EQ(value.get(), "1");
}

TEST_F(SingleValueTests, EveryConnectionIsAskedAnew) {
    const Client client(Options());
    PlayedConnection old = Welcome();
    auto value = Read(client);
    old.Answer("capabilities", kLacksIt);
    EXPECT_EQ(old.AwaitLine("."), "get delimited\na\n");
    old.Close();

    for (std::size_t said = 0; said < kKnowsIt.size(); ++said) {
        PlayedConnection cut = Welcome();
        EXPECT_EQ(cut.AwaitLine("capabilities"), "");
        cut.Say(kKnowsIt.substr(0, said));
        cut.Close();
    }

    PlayedConnection fresh = Welcome();
    EXPECT_EQ(fresh.AwaitLine("capabilities"), "");
    fresh.Say(kKnowsIt);
    EXPECT_EQ(fresh.AwaitLine("."), "get-value\n[a]x\n");
    fresh.Say("data\n[a]\nx = 1\n\n.\n");
    EXPECT_EQ(value.get(), "1");
}

TEST_F(SingleValueTests, WhatIsNoListOfCapabilitiesEndsTheConnection) {
    Client::RemoteOptions options = Options();
    options.patience = milliseconds(0);
    const Client client(options);
    PlayedConnection server = Welcome();
    auto error = std::async(std::launch::async,
                            [&] { return Thrown([&] { static_cast<void>(client.GetValue("[a]x")); }); });
    server.Answer("capabilities", "data\n.\n");
    EXPECT_EQ(error.get(), "protocol error: expected 'capabilities' but got 'data'");
}

TEST_F(SingleValueTests, WhatWasNotAskedForIsIgnored) {
    const Client client(Options());
    PlayedConnection server = Welcome();
    auto value = Read(client);
    server.Answer("capabilities", kKnowsIt);
    server.Answer(".", "data\n[a]\ny = 1\n\n[b]\nx = 1\n\n.\n");
    EXPECT_EQ(value.get(), "none");
}

/// With a real server, whatever the names and the values are.
TEST(SingleValueOfAServerTests, ComesBackWhateverItIs) {
    test::SocketServer server;
    server.Start();
    const Client client(server.Path());
    for (const std::string text :
         {"", " ", ".", "*", "a*", "]", "\"", "a\nb", "\r", "=", "[x]", "#c", "\\n"}) {
        const std::string locator = common::SettingLocator{text, text}.ToString();
        EXPECT_EQ(client.FindValue(locator), std::nullopt) << locator;
        server.Store().SetValue(text, "neighbour of it", "no");
        EXPECT_EQ(client.FindValue(locator), std::nullopt) << locator;
        server.Store().SetValue(text, text, text);
        EXPECT_EQ(client.FindValue(locator), text) << locator;
    }
}

}  // namespace
}  // namespace zumra::settings
