#include <gtest/gtest.h>

#include <thread>

#include "client/Callbacks.h"
#include "client/Exchanges.h"
#include "client/SocketServer.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "support/Thrown.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using std::chrono::milliseconds;
using test::ListeningSocket;
using test::PlayedConnection;
using test::Recorder;
using test::Thrown;

constexpr milliseconds kNever = std::chrono::hours(24);
const std::string kSilent = "connection lost: the server does not answer";
const std::string kClosed = "connection lost: the server closed it";
const std::string kUnknown = "; whether the request was carried out is not known";

class RemoteHostileTests : public testing::Test {
protected:
    void SetUp() override { _listening.Open(); }

    [[nodiscard]] Client::RemoteOptions Options(milliseconds patience, milliseconds silence = kNever) const {
        Client::RemoteOptions options;
        options.socketPath = _listening.Path();
        options.patience = patience;
        options.silence = silence;
        return options;
    }
    /// The next connection, found to be alive by the client.
    [[nodiscard]] PlayedConnection Welcome() const {
        PlayedConnection connection = _listening.Play();
        connection.Answer("sync", "synced\n");
        return connection;
    }
    /// A connection over which two groups are subscribed to, one after the other, before it is closed.
    void SubscribeAndLeave(Client& client, Recorder& callback) const {
        PlayedConnection connection = Welcome();
        std::thread subscriber([&] {
            client.Subscribe(&callback, "a");
            client.Subscribe(&callback, "b");
        });
        for (const std::string group : {"a", "b"}) {
            connection.Answer("sync", "synced\n");
            connection.Answer(".", "data\n[" + group + "]\nx = 1\n\n.\n");
        }
        subscriber.join();
        connection.Close();
    }

    ListeningSocket _listening;
};

TEST_F(RemoteHostileTests, ServerThatNeverAnswersCountsAsGone) {
    Client client(Options(milliseconds(0), milliseconds(20)));
    EXPECT_EQ(Thrown([&] { client.SetValue("[a]x", "1"); }), kSilent);
    Recorder callback;
    EXPECT_EQ(Thrown([&] { client.Subscribe(&callback, "a"); }), kSilent);
}

TEST_F(RemoteHostileTests, ServerThatFallsSilentCountsAsGone) {
    Client client(Options(milliseconds(0), milliseconds(50)));
    PlayedConnection connection = Welcome();
    EXPECT_EQ(Thrown([&] { client.SetValue("[a]x", "1"); }), kSilent + kUnknown);
}

TEST_F(RemoteHostileTests, ServerThatFallsSilentWithinANotification) {
    Client client(Options(kNever, milliseconds(50)));
    Recorder callback;
    PlayedConnection first = Welcome();
    std::thread subscriber([&] { client.Subscribe(&callback, "a"); });
    first.Answer("sync", "synced\n");
    first.Answer(".", "data\n.\n");
    subscriber.join();
    first.Say("async change\na\n.\n[a]\nx = 1\n");
    PlayedConnection second = _listening.Play();
    second.Answer("sync", "synced\n");
    second.Answer(".", "data\n[a]\nx = 2\n\n.\n");
    callback.WaitForCalls(1);
    EXPECT_EQ(callback.Calls()[0].data.GetValue("a", "x"), "2");
    EXPECT_EQ(callback.Count(), 1U);
}

TEST_F(RemoteHostileTests, ServerThatTakesNothingCountsAsGone) {
    Client client(Options(milliseconds(0), milliseconds(50)));
    PlayedConnection connection = Welcome();
    EXPECT_EQ(Thrown([&] { client.SetValue("[a]x", std::string(std::size_t{16} << 20, 'x')); }),
              kSilent + kUnknown);
}

TEST_F(RemoteHostileTests, EndsWhileAServerIsSilent) {
    { const Client unused(Options(kNever)); }
    const PlayedConnection gone = _listening.Play();
    const Client client(Options(kNever));
    PlayedConnection connection = _listening.Play();
    connection.AwaitLine("sync");
}

TEST_F(RemoteHostileTests, EndsWhileACallbackWaitsForASilentServer) {
    test::Event inside;
    std::string error;
    Client* user = nullptr;
    Recorder callback([&](const Recorder::Call&) {
        inside.Set();
        error = Thrown([&] { static_cast<void>(user->GetValue("[a]x")); });
    });
    {
        Client client(Options(kNever));
        user = &client;
        PlayedConnection connection = Welcome();
        std::thread subscriber([&] { client.Subscribe(&callback, "a"); });
        connection.Answer("sync", "synced\n");
        connection.Answer(".", "data\n.\n");
        subscriber.join();
        connection.Say("async change\na\n.\n[a]\nx = 1\n\n.\n");
        inside.Wait();
        connection.AwaitLine("capabilities");
        // The connection stays open: only the client can end it.
        std::thread silent([kept = std::move(connection)]() mutable { kept.AwaitEnd(); });
        silent.detach();
    }
    EXPECT_EQ(error, "connection lost: the client is being destroyed");
}

TEST_F(RemoteHostileTests, ImpatientCallWaitsForTheAttemptThatIsUnderWay) {
    Client client(Options(milliseconds(0)));
    std::thread server([this] {
        PlayedConnection connection = Welcome();
        connection.Answer("sync", "synced\n");
        connection.AwaitEnd();
    });
    EXPECT_EQ(Thrown([&] { client.Sync(); }), "nothing was thrown");
    client.~Client();
    server.join();
    new (&client) Client(Client::kLocal);
}

TEST_F(RemoteHostileTests, ChangeIsNeverSentTwice) {
    Client client(Options(kNever));
    PlayedConnection first = Welcome();
    std::string error;
    std::thread writer([&] {
        error = Thrown([&] { client.SetValue("[a]x", "1"); });
        client.SetValue("[a]x", "2");
    });
    first.AwaitLine("x = 1");
    first.Close();
    PlayedConnection second = Welcome();
    EXPECT_EQ(second.AwaitLine("x = 2"), "merge\n[a]\n");
    second.Answer("sync", "synced\n");
    writer.join();
    EXPECT_EQ(error, kClosed + kUnknown);
}

TEST_F(RemoteHostileTests, ReadIsBegunAgain) {
    Client client(Options(kNever));
    PlayedConnection first = Welcome();
    core::IniFile read;
    std::thread reader([&] { client.GetSettings("a", read); });
    first.Answer("a", "data\n[a]\nx = half");
    first.Close();
    PlayedConnection second = Welcome();
    second.Answer("a", "data\n[a]\nx = whole\n\n.\n");
    reader.join();
    EXPECT_EQ(read.GetValue("a", "x"), "whole");
}

TEST_F(RemoteHostileTests, ServerThatRefusesTheSubscriptionsIsTriedAgain) {
    Client client(Options(kNever));
    Recorder callback;
    PlayedConnection first = Welcome();
    std::thread subscriber([&] { client.Subscribe(&callback, "a"); });
    first.Answer("sync", "synced\n");
    first.Answer(".", "data\n.\n");
    subscriber.join();
    first.Close();
    PlayedConnection second = _listening.Play();
    second.Answer("sync", "error\nnot now\nsynced\n");
    second.Answer(".", "data\n.\n");
    PlayedConnection third = _listening.Play();
    third.Answer("sync", "synced\n");
    third.Answer(".", "data\n[a]\nx = 1\n\n.\n");
    callback.WaitForCalls(1);
    EXPECT_EQ(callback.Calls()[0].data.GetValue("a", "x"), "1");
}

/// They came about in two requests, and are more than the server takes in one.
class RenewalTests : public RemoteHostileTests, public testing::WithParamInterface<bool> {};

TEST_P(RenewalTests, SubscriptionsThatAreRefusedTogetherAreRenewedInParts) {
    const std::string between = GetParam() ? "" : "[a]\nx = 3\n\n";  // what becomes of the first part's group
    Client client(Options(kNever));
    Recorder callback;
    SubscribeAndLeave(client, callback);
    PlayedConnection second = _listening.Play();
    EXPECT_EQ(second.AwaitLine("sync"), "subscribe\na\nb\n.\n");
    second.AwaitLine(".");
    second.Say("error\nlist over its limit\nsynced\nerror\nlist over its limit\n");
    PlayedConnection third = _listening.Play();
    for (const std::string group : {"a", "b"}) {
        EXPECT_EQ(third.AwaitLine("sync"), "subscribe\n" + group + "\n.\n");
        EXPECT_EQ(third.AwaitLine("."), "get delimited\n" + group + "\n");
    }
    third.Say("synced\ndata\n[a]\nx = 2\n\n.\n");
    third.Say("async change\na\n.\n" + between + ".\n");
    third.Say("synced\ndata\n[b]\nx = 2\n\n.\n");
    third.Say("async change\nb\n.\n[b]\nx = 3\n\n.\n");
    callback.WaitForCalls(2);
    const auto calls = callback.Calls();
    EXPECT_EQ(calls[0].changed, (std::set<std::string>{"a", "b"}));
    EXPECT_EQ(calls[0].data.SaveToString(), between + "[b]\nx = 2\n\n") << "all at once, as it is then";
    EXPECT_EQ(calls[1].data.SaveToString(), "[b]\nx = 3\n\n");
}

INSTANTIATE_TEST_SUITE_P(GroupGoesMeanwhile, RenewalTests, testing::Bool());

TEST_F(RemoteHostileTests, NothingIsToldOfARenewalThatFailsHalfWay) {
    Client client(Options(kNever));
    Recorder callback;
    SubscribeAndLeave(client, callback);
    PlayedConnection second = _listening.Play();
    second.AwaitLine("sync");
    // What follows the refusal is already there when the client ends this connection.
    std::string said = "error\nlist over its limit\nsynced\nerror\nlist over its limit\n";
    for (int i = 0; i < 1000; ++i) {
        said += "async change\na\n.\n[a]\nx = too early\n\n.\n";
    }
    second.Say(said);
    PlayedConnection third = _listening.Play();
    for (const std::string group : {"a", "b"}) {
        third.Answer("sync", "synced\n");
        third.Say("data\n[" + group + "]\nx = 2\n\n.\n");
    }
    callback.WaitForCalls(1);
    EXPECT_EQ(callback.Calls()[0].data.SaveToString(), "[a]\nx = 2\n\n[b]\nx = 2\n\n")
        << "b changed before a changed again";
}

TEST_F(RemoteHostileTests, WhatIsNoProtocolEndsTheConnectionAndIsTold) {
    Client client(Options(milliseconds(0)));
    PlayedConnection first = _listening.Play();
    first.Answer("sync", "HTTP/1.1 400 Bad Request\n");
    const std::string error = Thrown([&] { client.Sync(); });
    EXPECT_EQ(error.substr(0, 16), "protocol error: ") << error;
}

TEST_F(RemoteHostileTests, ServerThatClosesAtOnceIsTriedAgain) {
    Client client(Options(kNever));
    std::thread early([&] { client.SetValue("[a]x", "1"); });
    for (int i = 0; i < 4; ++i) {
        PlayedConnection refused = _listening.Play();
        refused.Close();
    }
    PlayedConnection connection = Welcome();
    connection.Answer("sync", "synced\n");
    early.join();
}

/// A subscription that is lost, while the next connection is being made, leaves nothing behind that could be
/// told to the one who tries again.
TEST_F(RemoteHostileTests, LostSubscriptionThatIsGivenUpLeavesNothingBehind) {
    Client client(Options(milliseconds(0)));
    Recorder callback;
    PlayedConnection first = Welcome();
    std::string error;
    std::thread subscriber([&] { error = Thrown([&] { client.Subscribe(&callback, "a"); }); });
    first.AwaitLine("sync");
    first.Close();
    subscriber.join();
    EXPECT_EQ(error, kClosed);
    PlayedConnection second = _listening.Play();
    const std::string asked = second.AwaitLine("sync");
    EXPECT_TRUE(asked.empty() || asked == "subscribe\na\n.\n") << asked;
    if (!asked.empty()) {
        second.AwaitLine(".");  // of "get"; the client has then given up what it asks for
        second.Say("synced\ndata\n[a]\nx = 1\n\n.\n");
        second.Answer(".", "");
        second.Answer("sync", "synced\n");
    } else {
        second.Say("synced\n");
    }
    second.Close();
    PlayedConnection third = Welcome();
    EXPECT_EQ(callback.Count(), 0U);
}

TEST_F(RemoteHostileTests, CallbacksThatAreTooSlowAreToldTheEndLater) {
    test::SocketServer server;
    server.Start();
    test::Event release;
    test::Event inside;
    Recorder callback([&](const Recorder::Call&) {
        inside.Set();
        release.Wait();
    });
    Client::RemoteOptions remote;
    remote.socketPath = server.Path();
    remote.patience = kNever;
    client::ConnectionOptions options;
    options.callbackLimit = 1000;
    Client client(client::MakeRemoteBackend(remote, options));
    client.Subscribe(&callback, "a");
    constexpr int kLast = 100;
    for (int i = 1; i <= kLast; ++i) {
        server.Store().SetValue("a", "x", std::to_string(i));
        if (i == 1) {
            inside.Wait();
        }
    }
    // The first connection was given up for what waits, and so is every one that brings more than may wait.
    server.AwaitConnections(2);
    release.Set();
    int last = 0;
    for (std::size_t calls = 1; last != kLast; ++calls) {
        callback.WaitForCalls(calls);
        const int told = std::stoi(callback.Calls()[calls - 1].data.GetValue("a", "x"));
        EXPECT_GT(told, last);
        last = told;
    }
    EXPECT_LT(callback.Count(), static_cast<std::size_t>(kLast));
}

}  // namespace
}  // namespace zumra::settings
