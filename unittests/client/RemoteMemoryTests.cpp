#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "client/Exchanges.h"
#include "client/FailingThreads.h"
#include "client/SocketServer.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "support/FailingMemory.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/IniWatcher.h"
#include "zumra/settings/SettingsWatcher.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using std::chrono::milliseconds;
using test::Document;
using test::FailingMemory;
using test::LiveAllocations;

/// Long enough that no text finds room in a string itself.
std::string Long(const std::string& text) {
    return "a text that needs memory of its own " + text;
}

/// Keeps what it is told of each group. Needs no memory that could fail.
class Told final : public IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) override {
        const FailingMemory::Pause pause;
        osa::MutexLock lock(_mutex);
        for (const std::string& group : changedGroups) {
            _states[group].push_back(data.HasGroup(group) ? data.GetValue(group, Long("x")) : "gone");
        }
        _changed.NotifyAll();
    }

    /// Waits until this was told of the group.
    void Await(const std::string& group, const std::string& state) {
        osa::MutexLock lock(_mutex);
        while (_states[group].empty() || _states[group].back() != state) {
            _changed.Wait(_mutex);
        }
    }
    /// One after another.
    [[nodiscard]] std::map<std::string, std::vector<std::string>> States() {
        osa::MutexLock lock(_mutex);
        return _states;
    }

private:
    osa::Mutex _mutex;
    osa::Condition _changed;
    std::map<std::string, std::vector<std::string>> _states ZUMRA_GUARDED_BY(_mutex);
};

/// The life of a client whose server goes and comes back, in which memory fails at some moment, on whichever
/// of its threads.
class RemoteLife {
public:
    explicit RemoteLife(bool forGood) : _forGood(forGood) {
        _options.socketPath = _server.Path();
        // While there is no memory there is no server.
        _options.patience = milliseconds(forGood ? 0 : 60000);
        // Lives are many.
        _connection.firstPause = milliseconds(1);
    }

    /// True when it came to the failure.
    bool Run(std::size_t failAt) {
        _server.Start();
        bool failed = false;
        {
            const FailingMemory memory(failAt, _forGood, FailingMemory::kEveryThreads);
            Live();
            failed = memory.Failed();
        }
        if (_client != nullptr) {
            AwaitServer();
            CheckTold();
            CheckAfterwards();
            EXPECT_EQ(_reports, 0) << "a change was not told for want of memory";
        }
        _iniWatcher.reset();
        _watcher.reset();
        _client.reset();
        return failed;
    }

private:
    bool Try(const char* what, const std::function<void()>& step) {
        try {
            step();
            return true;
        } catch (const std::bad_alloc&) {
        } catch (const osa::Exception& error) {
            const FailingMemory::Pause pause;
            const std::string reason = error.what();
            EXPECT_TRUE(reason.find("connection lost") == 0 || reason.find("no server") == 0)
                << what << ": " << reason;
        }
        return false;
    }

    void Live() {
        Try("connect",
            [this] { _client = std::make_unique<Client>(client::MakeRemoteBackend(_options, _connection)); });
        if (_client == nullptr) {
            return;
        }
        Try("set a handler",
            [this] { _client->SetCallbackErrorHandler([this](const std::exception_ptr&) { ++_reports; }); });
        _subscribed = Try("subscribe", [this] { _client->Subscribe(&_told, _wanted); });
        Try("watch", [this] {
            _watcher = std::make_unique<SettingsWatcher>(_client.get());
            _watcher->AddSetting(_a, _x, &_watched);
            _watcher->UpdateSettings();
        });
        Try("follow", [this] {
            _iniWatcher = std::make_unique<IniWatcher>(_client.get(), &_followed);
            _iniWatcher->AddPattern("*");
            _iniWatcher->Update();
        });
        Change(_a, "2");
        Restart();
        Try("read", [this] { static_cast<void>(_client->GetValue(_locator)); });
        Change(_a, "4");
        Try("change", [this] { _client->SetValue(_locator, _ownValue); });
        Try("subscribe another", [this] { _client->Subscribe(&_other, _a); });
        EXPECT_NO_THROW(_client->UnSubscribe(&_other));
        Change(_b, "5");
        Try("sync", [this] { _client->Sync(); });
    }

    void Change(const std::string& group, const std::string& value) {
        const FailingMemory::Pause pause;
        _server.Store().SetValue(group, _x, value);
    }
    void Restart() {
        const FailingMemory::Pause pause;
        _server.Stop();
        _server.Store().SetValue(_a, _x, "3");
        _server.Store().EraseGroups(common::GroupNameMatcher(_gone));
        _server.Store().SetValue(_new, _x, "1");
        _server.Start();
    }
    void AwaitServer() {
        while (!Try("sync", [this] { _client->Sync(); })) {
            std::this_thread::yield();
        }
    }

    /// Whoever subscribed was told what is there now, and of nothing twice; whoever could not was told
    /// nothing.
    void CheckTold() {
        if (!_subscribed) {
            EXPECT_TRUE(_told.States().empty());
            return;
        }
        const std::string last = _server.Store().GetValue(_a, _x).value_or("");
        _told.Await(_a, last);
        _told.Await(_b, "5");
        _told.Await(_gone, "gone");
        _told.Await(_new, "1");
        _server.Store().SetValue(_b, _x, "6");
        _told.Await(_b, "6");
        for (const auto& [group, states] : _told.States()) {
            EXPECT_NE(group, _still) << "nothing differs";
            for (std::size_t i = 1; i < states.size(); ++i) {
                EXPECT_LT(states[i - 1], states[i]) << group << " was told twice, or what was before";
            }
        }
    }

    void CheckAfterwards() {
        core::IniFile all;
        _client->GetSettings("*", all);
        if (_watcher != nullptr) {
            _watcher->AddSetting(_a, _x, &_watched);
            _watcher->UpdateSettings();
            EXPECT_EQ(_watched, all.GetValue(_a, _x));
        }
        if (_iniWatcher != nullptr) {
            _iniWatcher->AddPattern("*");
            _iniWatcher->Update();
            EXPECT_EQ(_followed, all);
        }
        Told again;
        _client->Subscribe(&again, _still);
        _client->SetValue("[" + _still + "]" + _x, "7");
        again.Await(_still, "7");
        _client->UnSubscribe(&again);
    }

    const bool _forGood;
    const std::string _a = Long("a");
    const std::string _b = Long("b");
    const std::string _gone = Long("c gone");
    const std::string _new = Long("c new");
    const std::string _still = Long("c still");
    const std::string _x = Long("x");
    const std::string _locator = "[" + _a + "]" + _x;
    const std::string _ownValue = "4 and more";
    const std::set<std::string> _wanted{_a, _b, Long("c*"), Long("d*")};
    test::SocketServer _server{Document("[" + _a + "]\n" + _x + "=1\n[" + _b + "]\n" + _x + "=1\n[" + _gone +
                                        "]\n" + _x + "=1\n[" + _still + "]\n" + _x + "=1\n")};
    Client::RemoteOptions _options;
    client::ConnectionOptions _connection;
    bool _subscribed = false;
    std::atomic<int> _reports{0};
    Told _told;
    Told _other;
    std::string _watched;
    core::IniFile _followed;
    std::unique_ptr<Client> _client;
    std::unique_ptr<SettingsWatcher> _watcher;
    std::unique_ptr<IniWatcher> _iniWatcher;
};

/// Under a sanitizer, where a life takes longer, not every allocation is tried.
void RunAll(bool forGood, std::size_t step) {
    // Once before counting: what is kept for the next time is no leak.
    RemoteLife(forGood).Run(100000000);
    bool failed = true;
    std::size_t failAt = 1;
    for (; failed && !testing::Test::HasFailure(); failAt += step) {
        SCOPED_TRACE("allocation " + std::to_string(failAt));
        const std::ptrdiff_t before = LiveAllocations();
        failed = std::make_unique<RemoteLife>(forGood)->Run(failAt);
        EXPECT_EQ(LiveAllocations(), before);
    }
    EXPECT_GT(failAt, 200U);
}

TEST(RemoteMemoryTests, OneFailureOnAnyThreadMissesNothing) {
    RunAll(false, test::CanFailThreads() ? 1 : 13);
}

TEST(RemoteMemoryTests, LastingFailureIsMadeUpForWhenThereIsMemory) {
    RunAll(true, test::CanFailThreads() ? 5 : 29);
}

}  // namespace
}  // namespace zumra::settings
