#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "client/Callbacks.h"
#include "client/Exchanges.h"
#include "client/PlayedConnection.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "settings/client/connection/SocketStream.h"
#include "support/Hostile.h"
#include "support/Thrown.h"

namespace zumra::settings::client {
namespace {

using test::Recorder;
using test::Thrown;

/// The other end of a client with threads of its own, played by the test.
class PlayedServer {
public:
    explicit PlayedServer(ConnectionOptions options = {}) : PlayedServer(MakeSocketPair(false), options) {}

    [[nodiscard]] ZumraSettingsClient& Client() { return *_client; }

    void Say(const std::string& text) { _server.Say(text); }
    void AwaitLine(const std::string& line) { _server.AwaitLine(line); }
    void AnswerSyncs() { _server.AnswerSyncs(); }
    [[nodiscard]] const std::string& Answered() const { return _server.Answered(); }
    void Subscribe(Recorder& callback) {
        std::thread server([this] {
            AwaitLine("sync");
            Say("synced\n");
        });
        _client->Subscribe(&callback, "a");
        server.join();
    }
    void Close() { _server.Close(); }
    void EndClient() { _client.reset(); }

private:
    PlayedServer(SocketPair sockets, const ConnectionOptions& options)
        : _server(std::move(sockets.server)),
          _client(std::make_unique<ZumraSettingsClient>(
              MakeConnectionBackend(std::make_unique<SocketStream>(std::move(sockets.client)), options))) {}

    test::PlayedConnection _server;
    std::unique_ptr<ZumraSettingsClient> _client;
};

const std::string kNotification = "async change\na\n.\n[a]\nx = 1\n\n.\n";

/// What the server's doing makes a call throw.
std::string SyncError(ZumraSettingsClient& client) {
    return Thrown([&client] { client.Sync(); });
}

TEST(HostileServerTests, ServerThatClosesWithinANotification) {
    for (std::size_t size = 0; size < kNotification.size(); ++size) {
        Recorder callback;
        PlayedServer server;
        server.Subscribe(callback);
        server.Say(kNotification.substr(0, size));
        server.Close();
        EXPECT_EQ(SyncError(server.Client()).substr(0, 15), "connection lost") << size;
        EXPECT_NO_THROW(server.Client().UnSubscribe(&callback));
        EXPECT_EQ(callback.Count(), 0U);
    }
}

TEST(HostileServerTests, ServerThatStallsWithinANotificationDoesNotStallTheEnd) {
    for (std::size_t size = 0; size <= kNotification.size(); ++size) {
        Recorder callback;
        PlayedServer server;
        server.Subscribe(callback);
        server.Say(kNotification.substr(0, size));
        server.EndClient();
    }
}

TEST(HostileServerTests, GarbledNotificationsDoNoHarm) {
    for (std::size_t at = 0; at < kNotification.size(); ++at) {
        for (const char byte : test::kHostileBytes) {
            Recorder callback;
            PlayedServer server;
            server.Subscribe(callback);
            std::string garbled = kNotification;
            garbled[at] = byte;
            server.Say(garbled);
            server.Close();
            EXPECT_NE(SyncError(server.Client()), "nothing was thrown");
        }
    }
}

TEST(HostileServerTests, NonsenseBetweenRepliesEndsTheConnection) {
    Recorder callback;
    PlayedServer server;
    server.Subscribe(callback);
    server.Say("nonsense\n");
    // Who finds it: the reader in the background, or the call that comes before it.
    const std::string error = SyncError(server.Client());
    EXPECT_TRUE(error == "protocol error: expected 'async change' but got 'nonsense'" ||
                error == "protocol error: expected 'synced' but got 'nonsense'")
        << error;
    server.Client().UnSubscribe(&callback);
}

/// Subscribes one callback by two calls that are under way at once, of which the server refuses the first.
void SubscribeTwiceRefusedOnce(PlayedServer& server, Recorder& callback) {
    std::string error;
    std::thread refused([&] {
        error = Thrown([&] { server.Client().Subscribe(&callback, std::set<std::string>{"a", "secret"}); });
    });
    server.AwaitLine("sync");
    std::thread accepted([&] { server.Client().Subscribe(&callback, "a"); });
    server.AwaitLine("sync");
    server.Say("error\nno\nsynced\nsynced\n");
    accepted.join();
    server.AwaitLine("sync");
    server.Say("synced\n");
    refused.join();
    EXPECT_EQ(error, "no");
}

TEST(HostileServerTests, RefusedSubscriptionLeavesAnothersOfTheSameCallbackAlone) {
    Recorder callback;
    Recorder other;
    PlayedServer server;
    SubscribeTwiceRefusedOnce(server, callback);
    server.Subscribe(other);
    std::thread answering([&] { server.AnswerSyncs(); });
    server.Say(kNotification);
    callback.WaitForCalls(1);
    server.Client().UnSubscribe(&callback);
    server.Say(kNotification);
    other.WaitForCalls(2);
    server.Client().UnSubscribe(&other);
    server.EndClient();
    answering.join();
    EXPECT_EQ(callback.Count(), 1U);
    EXPECT_EQ(server.Answered(), "unsubscribe\na\n.\nsync\n") << "when the last one went";
}

TEST(HostileServerTests, CallsOfManyThreadsFailWhenTheServerGoes) {
    for (int i = 0; i < 50; ++i) {
        PlayedServer server;
        std::atomic<unsigned> failed{0};
        std::vector<std::thread> threads;
        for (int j = 0; j < 8; ++j) {
            threads.emplace_back(
                [&] { failed += SyncError(server.Client()).substr(0, 15) == "connection lost" ? 1 : 0; });
        }
        server.AwaitLine("sync");
        server.Close();
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(failed, 8U);
    }
}

TEST(HostileServerTests, LastWordsOfAServerThatStopsReadingAreHeard) {
    PlayedServer server;
    std::thread other([&] {
        server.AwaitLine("merge");
        server.Say("error\ntoo much\n");
        server.Close();
    });
    const std::string error =
        Thrown([&] { server.Client().SetValue("[a]x", std::string(std::size_t{16} << 20, 'x')); });
    other.join();
    EXPECT_EQ(error, "too much");
}

TEST(HostileServerTests, CallbacksThatAreTooSlowEndTheConnection) {
    ConnectionOptions options;
    options.callbackLimit = 10 * kNotification.size();
    test::Event release;
    test::Event inside;
    Recorder callback([&](const Recorder::Call&) {
        inside.Set();
        release.Wait();
    });
    PlayedServer server(options);
    server.Subscribe(callback);
    server.Say(kNotification);
    inside.Wait();
    std::string error;
    std::thread other([&] { error = SyncError(server.Client()); });
    server.AwaitLine("sync");
    std::string flood;
    for (int i = 0; i < 100; ++i) {
        flood += kNotification;
    }
    server.Say(flood + "synced\n");
    other.join();
    EXPECT_EQ(error, "connection lost: callbacks are too slow: over " +
                         std::to_string(options.callbackLimit) + " bytes of changes wait for them");
    release.Set();
    server.EndClient();
}

}  // namespace
}  // namespace zumra::settings::client
