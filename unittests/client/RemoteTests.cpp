#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdlib>
#include <thread>

#include "client/Callbacks.h"
#include "client/Exchanges.h"
#include "client/FailingThreads.h"
#include "client/SocketServer.h"
#include "settings/client/SocketPlace.h"
#include "support/Thrown.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/IniWatcher.h"
#include "zumra/settings/SettingsWatcher.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using Strings = std::set<std::string>;
using std::chrono::milliseconds;
using test::Document;
using test::Recorder;
using test::SocketServer;
using test::Thrown;

Client::RemoteOptions At(const std::string& path, milliseconds patience = milliseconds(60000)) {
    Client::RemoteOptions options;
    options.socketPath = path;
    options.patience = patience;
    return options;
}

class RemoteTests : public testing::Test {
protected:
    void SetUp() override { _server.Start(); }

    void Restart() {
        _server.Stop();
        _server.Start();
    }

    /// As `test::Drain`, for a client whose connection may be lost meanwhile.
    void Drain(Client& client) {
        Recorder last;
        client.Subscribe(&last, "drain");
        _server.Store().SetValue("drain", "x", std::to_string(++_drains));
        last.WaitForCalls(1);
        client.UnSubscribe(&last);
    }

    unsigned _drains = 0;
    SocketServer _server{Document("[a]\nx=0\n[b]\nx=0\n")};
};

TEST_F(RemoteTests, ReadsAndChangesTheServersStore) {
    Client client(_server.Path());
    EXPECT_EQ(client.GetValue("[a]x"), "0");
    client.SetValue("[a]x", "1");
    EXPECT_EQ(_server.Store().GetValue("a", "x"), "1");
    client.RestoreToDefaults("*");
    EXPECT_EQ(client.GetValue("[a]x"), "0");
    client.Flush();
}

TEST_F(RemoteTests, SocketOfTheEnvironmentIsUsedWhenNoneIsNamed) {
    ::setenv("ZUMRA_SETTINGS_SOCKET", _server.Path().c_str(), 1);
    EXPECT_EQ(Client::DefaultSocketPath(), _server.Path());
    EXPECT_EQ(Client(Client::kRemote).GetValue("[a]x"), "0");
    ::unsetenv("ZUMRA_SETTINGS_SOCKET");
    EXPECT_EQ(Thrown([] { Client(Client::kRemote, core::IniFile()); }), "the defaults are the server's");
}

TEST_F(RemoteTests, OwnServerIsUsedWhenThereIsOneAndElseTheSystems) {
    if (::geteuid() == 0) {
        EXPECT_EQ(client::OwnSocketPath(), client::kSystemSocketPath);
        ASSERT_EQ(::seteuid(12345), 0);
    }
    const test::TemporaryDirectory runtime;
    ::setenv("XDG_RUNTIME_DIR", runtime.Path().c_str(), 1);
    EXPECT_EQ(client::OwnSocketPath(), runtime.File("zumra/settings.sock"));
    const client::SocketPlace place;
    EXPECT_EQ(place.Find(), client::kSystemSocketPath) << "the own server is not there";
    std::filesystem::create_directory(runtime.File("zumra"));
    static_cast<void>(runtime.Write("zumra/settings.sock", ""));
    EXPECT_EQ(place.Find(), runtime.File("zumra/settings.sock")) << "it came later";
    ::setenv("XDG_RUNTIME_DIR", "relative", 1);
    const std::string user = std::to_string(::geteuid());
    const std::string usual = "/run/user/" + user;
    EXPECT_EQ(client::OwnSocketPath(), std::filesystem::is_directory(usual)
                                           ? usual + "/zumra/settings.sock"
                                           : "/tmp/zumra-" + user + "/settings.sock");
    ::unsetenv("XDG_RUNTIME_DIR");
    static_cast<void>(::seteuid(::getuid()));
}

TEST_F(RemoteTests, NoServerIsAnErrorWithItsReason) {
    const std::string missing = _server.Path() + "-missing";
    Client client(At(missing, milliseconds(0)));
    EXPECT_EQ(Thrown([&] { client.Sync(); }), "no server at '" + missing + "': No such file or directory");
    EXPECT_EQ(Thrown([&] { client.SetValue("[a]x", "1"); }),
              "no server at '" + missing + "': No such file or directory");
    Client tooLong(At(std::string(200, 'x'), milliseconds(0)));
    EXPECT_EQ(Thrown([&] { tooLong.Sync(); }),
              "no server at '" + std::string(100, 'x') + "...': the path must have 1 to 107 bytes");
}

TEST_F(RemoteTests, CallsWaitForAServerThatIsNotThereYet) {
    _server.Stop();
    Client client(At(_server.Path()));
    std::string read;
    std::thread early([&] { read = client.GetValue("[a]x"); });
    _server.Start();
    early.join();
    EXPECT_EQ(read, "0");
}

TEST_F(RemoteTests, EndsWithoutWaitingForAServer) {
    _server.Stop();
    Recorder callback;
    Client client(At(_server.Path()));
    client.UnSubscribe(&callback);
}

TEST_F(RemoteTests, IdleClientConnectsAgainByItself) {
    Client client(At(_server.Path()));
    client.Sync();
    Restart();
    _server.AwaitConnections(2);
    client.SetValue("[a]x", "1");
    EXPECT_EQ(client.GetValue("[a]x"), "1");
}

TEST_F(RemoteTests, SubscribersAreToldWhatDiffersAndNothingElse) {
    Recorder a;
    Recorder prefix;
    Recorder untouched;
    test::RecordingFollower follower;
    _server.Store().MergeSettings(Document("[p1]\nx=1\n[p2]\nx=1\n[p3]\nx=1\n"));
    Client client(At(_server.Path()));
    client.Subscribe(&a, Strings{"a", "missing"});
    client.Subscribe(&prefix, "p*");
    client.Subscribe(&untouched, Strings{"b", "p3"});
    client.Backend().Follow(&follower, test::Groups({"p1"}));
    client.SetValue("[a]x", "told");
    a.WaitForCalls(1);

    _server.Stop();
    _server.Store().SetValue("a", "x", "1");
    _server.Store().SetValue("a", "x", "2");
    _server.Store().SetValue("p1", "x", "2");
    _server.Store().EraseGroups(common::GroupNameMatcher("p2"));
    _server.Store().SetValue("p4", "x", "new");
    _server.Store().SetValue("b", "x", "1");
    _server.Store().SetValue("b", "x", "0");
    _server.Store().SetValue("c", "x", "nobody's");
    _server.Start();

    test::Drain(client);
    ASSERT_EQ(a.Count(), 2U);
    EXPECT_EQ(a.Calls()[1].changed, Strings{"a"});
    EXPECT_EQ(a.Calls()[1].data.SaveToString(), "[a]\nx = 2\n\n");
    ASSERT_EQ(prefix.Count(), 1U);
    EXPECT_EQ(prefix.Calls()[0].changed, (Strings{"p1", "p2", "p4"}));
    EXPECT_EQ(prefix.Calls()[0].data.SaveToString(), "[p1]\nx = 2\n\n[p4]\nx = new\n\n");
    EXPECT_EQ(untouched.Count(), 0U);
    EXPECT_EQ(follower.Text(), "snapshot p1{x=1;}change p1{x=2;}");
}

TEST_F(RemoteTests, SubscriptionsLiveOnAfterALoss) {
    Recorder callback;
    Recorder gone;
    Client client(At(_server.Path()));
    client.Subscribe(&callback, "a");
    client.Subscribe(&gone, "b");
    Restart();
    client.UnSubscribe(&gone);
    test::Drain(client);
    EXPECT_EQ(callback.Count(), 0U) << "nothing differs";
    client.SetValue("[a]x", "1");
    client.SetValue("[b]x", "1");
    test::Drain(client);
    EXPECT_EQ(callback.Count(), 1U);
    EXPECT_EQ(gone.Count(), 0U);
}

/// What is still wanted in another way stays known, or it would be told anew.
TEST_F(RemoteTests, GroupStaysKnownWhenOneOfTheWaysToWantItGoes) {
    Recorder byName;
    Recorder byPattern;
    Recorder byBoth;
    Client client(At(_server.Path()));
    client.Subscribe(&byName, "a");
    client.Subscribe(&byPattern, "b*");
    client.Subscribe(&byBoth, Strings{"*", "b"});
    client.UnSubscribe(&byBoth);
    _server.Stop();
    _server.Store().SetValue("b2", "x", "1");
    _server.Start();
    test::Drain(client);
    EXPECT_EQ(byName.Count(), 0U) << "nothing differs";
    ASSERT_EQ(byPattern.Count(), 1U);
    EXPECT_EQ(byPattern.Calls()[0].changed, Strings{"b2"});
    EXPECT_EQ(byBoth.Count(), 0U);
}

TEST_F(RemoteTests, WatchersAreToldWhatDiffersAndNothingElse) {
    Client client(At(_server.Path()));
    core::IniFile document;
    IniWatcher documents(&client, &document);
    documents.AddPattern("a");
    documents.Update();
    int number = -1;
    SettingsWatcher variables(&client);
    variables.AddSetting("b", "x", &number);
    variables.UpdateSettings();
    Restart();
    client.Sync();
    EXPECT_FALSE(documents.TryUpdate());
    EXPECT_FALSE(variables.TryUpdateSettings());
    _server.Stop();
    _server.Store().EraseGroups(common::GroupNameMatcher("a"));
    _server.Store().SetValue("b", "x", "7");
    _server.Start();
    client.Sync();
    EXPECT_TRUE(documents.TryUpdate());
    EXPECT_TRUE(document.empty());
    EXPECT_TRUE(variables.TryUpdateSettings());
    EXPECT_EQ(number, 7);
}

TEST_F(RemoteTests, UnsubscribedWhileThereIsNoServer) {
    Recorder callback;
    Client client(At(_server.Path()));
    client.Subscribe(&callback, "a");
    _server.Stop();
    client.UnSubscribe(&callback);
    _server.Store().SetValue("a", "x", "1");
    _server.Start();
    test::Drain(client);
    EXPECT_EQ(callback.Count(), 0U);
}

/// The bytes that a connection says are cut off at every place; what it had said counts, what was cut is told
/// over the next.
TEST_F(RemoteTests, ServerThatEndsAtAnyByte) {
    constexpr std::size_t kMoreThanIsSaid = 220;
    for (std::size_t bytes = 0; bytes < kMoreThanIsSaid; ++bytes) {
        _server.Store().SetValue("a", "x", "0");
        _server.CutNext(bytes);
        Recorder callback;
        test::RecordingFollower follower;
        Client client(At(_server.Path()));
        client.Subscribe(&callback, Strings{"a", "n*"});
        client.Backend().Follow(&follower, test::Groups({"a"}));
        _server.Store().SetValue("a", "x", "1");
        _server.Store().MergeSettings(Document("[n1]\nx=" + std::to_string(bytes) + "\n"));
        _server.Store().SetValue("a", "x", "2");
        core::IniFile read;
        client.GetSettings("a", read);
        EXPECT_EQ(read.GetValue("a", "x"), "2");
        Drain(client);
        std::string told;
        std::string seen = "0";
        for (const auto& call : callback.Calls()) {
            EXPECT_TRUE(call.changed == Strings{"a"} || call.changed == Strings{"n1"} ||
                        call.changed == (Strings{"a", "n1"}));
            if (call.data.HasGroup("a")) {
                EXPECT_LT(seen, call.data.GetValue("a", "x")) << "told twice, or what was before";
                seen = call.data.GetValue("a", "x");
            }
            told += call.data.GetValue("n1", "x");
        }
        EXPECT_EQ(seen, "2") << bytes;
        EXPECT_EQ(told, std::to_string(bytes));
        EXPECT_EQ(follower.Text().substr(follower.Text().size() - 6), "{x=2;}") << follower.Text();
    }
}

TEST_F(RemoteTests, FlushTellsOnceThatChangesMayBeLost) {
    const std::string lost = "connection lost: changes made before may not have been saved";
    Client client(At(_server.Path()));
    client.SetValue("[a]x", "1");
    client.Flush();
    Restart();
    client.Flush();
    client.SetValue("[a]x", "2");
    Restart();
    client.SetValue("[a]x", "3");
    EXPECT_EQ(Thrown([&] { client.Flush(); }), lost);
    client.Flush();
    Restart();
    EXPECT_EQ(client.GetValue("[a]x"), "3");
    client.Flush();
}

TEST_F(RemoteTests, LongMergeArrivesWhole) {
    Client client(At(_server.Path()));
    core::IniFile large;
    for (int i = 0; i < 2000; ++i) {
        large["large/" + std::to_string(i)]["x"] = std::string(100, 'x');
    }
    client.MergeSettings(large);
    core::IniFile read;
    client.GetSettings("large/*", read);
    EXPECT_TRUE(read == large);
}

/// Writers, a subscriber and a server that goes and comes. What a writer was told is applied is there at the
/// end, and the subscriber knows the end; what it is told never goes back.
TEST_F(RemoteTests, RestartsUnderLoadMissNothing) {
    constexpr unsigned kWriters = 4;
    const unsigned restarts = test::Scaled(30);
    Recorder callback;
    Client client(At(_server.Path()));
    client.Subscribe(&callback, "w*");
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    std::vector<unsigned> acknowledged(kWriters, 0);
    for (unsigned i = 0; i < kWriters; ++i) {
        writers.emplace_back([&, i] {
            for (unsigned value = 1; !stop; ++value) {
                try {
                    client.SetValue("[w" + std::to_string(i) + "]x", std::to_string(value));
                    acknowledged[i] = value;
                } catch (const osa::Exception& e) {
                    EXPECT_EQ(std::string(e.what()).substr(0, 15), "connection lost");
                }
                EXPECT_GE(std::stoul("0" + client.GetValue("[w" + std::to_string(i) + "]x")),
                          acknowledged[i]);
            }
        });
    }
    for (unsigned i = 0; i < restarts; ++i) {
        callback.WaitForCalls(callback.Count() + 5);
        Restart();
    }
    stop = true;
    for (std::thread& writer : writers) {
        writer.join();
    }
    test::Drain(client);
    std::vector<unsigned long> told(kWriters, 0);
    for (const auto& call : callback.Calls()) {
        for (unsigned i = 0; i < kWriters; ++i) {
            const std::string value = call.data.GetValue("w" + std::to_string(i), "x");
            if (!value.empty()) {
                EXPECT_GT(std::stoul(value), told[i]) << "told twice, or what was before";
                told[i] = std::stoul(value);
            }
        }
    }
    for (unsigned i = 0; i < kWriters; ++i) {
        EXPECT_GE(told[i], acknowledged[i]);
        EXPECT_EQ(std::to_string(told[i]), _server.Store().GetValue("w" + std::to_string(i), "x"));
    }
}

}  // namespace
}  // namespace zumra::settings
