#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "client/EveryMode.h"
#include "client/Exchanges.h"
#include "settings/client/InProcessServer.h"
#include "support/FailingMemory.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/IniWatcher.h"
#include "zumra/settings/ResourceReserver.h"
#include "zumra/settings/SettingsWatcher.h"

namespace zumra::settings {

namespace {

using client::InProcessServer;
using test::Document;
using test::FailingMemory;
using test::LiveAllocations;
using Client = ZumraSettingsClient;

/// Long enough that no text finds room in a string itself.
std::string Long(const std::string& text) {
    return "a text that needs memory of its own " + text;
}

/// Knows whether it was called; needs no memory.
class Told : public IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>& /*changedGroups*/, const core::IniFile& data) override {
        std::lock_guard<std::mutex> lock(_mutex);
        calls += 1;
        if (const std::string* value = data.FindValue(_group, _name)) {
            const FailingMemory::Pause pause;
            last = *value;
        }
    }

    int calls = 0;
    std::string last;

private:
    std::mutex _mutex;
    const std::string _group = Long("group");
    const std::string _name = Long("name");
};

/// One client's life, in which memory fails at some moment.
class ClientLife {
public:
    explicit ClientLife(Client::OperationMode mode) : _mode(mode) {}

    /// True when it came to the failure.
    bool Run(std::size_t failAt, bool forGood) {
        {
            const FailingMemory memory(failAt, forGood, FailingMemory::kEveryThreads);
            Live();
            _failed = memory.Failed();
        }
        CheckAcknowledged();
        CheckAfterwards();
        End();
        return _failed;
    }

private:
    enum Outcome {
        kNotDone,  ///< it threw `std::bad_alloc`
        kDone,
        kUnknown,  ///< it threw anything else that it may throw
    };

    Outcome TryStep(const char* what, const std::function<void()>& step) {
        try {
            step();
            return kDone;
        } catch (const std::bad_alloc&) {
            return kNotDone;
        } catch (const osa::Exception& error) {
            const FailingMemory::Pause pause;
            const std::string reason = error.what();
            EXPECT_EQ(reason.find("protocol error"), std::string::npos) << what << ": " << reason;
            EXPECT_NE(reason, "") << what;
        }
        return kUnknown;
    }
    /// Whether the step was done.
    bool Try(const char* what, const std::function<void()>& step) { return TryStep(what, step) == kDone; }

    void Set(const std::string& value) {
        const Outcome outcome = TryStep("set", [&] { _client->SetValue(_locator, value); });
        const FailingMemory::Pause pause;
        if (outcome == kDone) {
            _attempted.clear();
        }
        if (outcome != kNotDone) {
            _attempted.push_back(value);
        }
    }

    void Live() {
        Try("connect", [this] { _client = std::make_unique<Client>(_server.Connect(_mode)); });
        if (_client == nullptr) {
            return;
        }
        // That a callback cannot be told for want of memory is reported; here nobody looks.
        Try("set a handler", [this] { _client->SetCallbackErrorHandler([](const std::exception_ptr&) {}); });
        Set(_values[1]);
        Try("subscribe", [this] { _client->Subscribe(&_told, {_group, _other, "x*", "y*"}); });
        Try("watch", [this] {
            _watcher = std::make_unique<SettingsWatcher>(_client.get());
            _watcher->AddSetting(_group, _name, &_watched);
            _watcher->UpdateSettings();
        });
        Try("follow", [this] {
            _iniWatcher = std::make_unique<IniWatcher>(_client.get(), &_followed);
            _iniWatcher->AddPattern("*");
            _iniWatcher->Update();
        });
        Set(_values[2]);
        Try("get", [this] {
            core::IniFile all;
            _client->GetSettings("*", all);
            const FailingMemory::Pause pause;
            EXPECT_EQ(all.GetValue("default", "x"), "1");
        });
        Try("merge", [this] { _client->MergeSettings(_document); });
        Try("test", [this] { _client->TestAndMerge(_document, _document); });
        Try("reserve", [this] {
            ResourceReserver reserver(_client.get(), "resource with quite a long name", _name);
            reserver.TrySetUsage(5);
        });
        Try("overwrite", [this] { _client->OverwriteSettings("other*", _document); });
        Try("restore", [this] { _client->RestoreToDefaults("default"); });
        Set(_values[3]);
        Try("update", [this] { _watcher ? void(_watcher->UpdateSettings()) : void(); });
        Try("update", [this] { _iniWatcher ? void(_iniWatcher->Update()) : void(); });
        EXPECT_NO_THROW(_client->UnSubscribe(&_told));
        Try("flush", [this] { _client->Flush(); });
    }

    /// What was acknowledged is there, or what was asked for after it and may have been done.
    void CheckAcknowledged() {
        const std::string stored = Client(_server.Connect(Client::kLocal)).GetValue(_locator);
        EXPECT_EQ(std::count(_attempted.begin(), _attempted.end(), stored), 1) << stored;
    }

    /// With memory again the store works, and the client does or says that its connection is lost.
    void CheckAfterwards() {
        Client fresh(_server.Connect(_mode));
        const int calls = _told.calls;
        fresh.SetValue(_locator, Long("afterwards"));
        EXPECT_EQ(fresh.GetValue(_locator), Long("afterwards"));
        if (_client == nullptr || !Try("sync", [this] { _client->Sync(); })) {
            return;
        }
        EXPECT_EQ(_told.calls, calls) << "called after it was unsubscribed";
        EXPECT_EQ(_client->GetValue(_locator), Long("afterwards"));
        core::IniFile all;
        fresh.GetSettings("*", all);
        if (_watcher != nullptr) {
            _watcher->AddSetting(_group, _name, &_watched);
            _watcher->UpdateSettings();
            EXPECT_EQ(_watched, Long("afterwards"));
        }
        if (_iniWatcher != nullptr) {
            _iniWatcher->AddPattern("*");
            _iniWatcher->Update();
            EXPECT_EQ(_followed, all);
        }
        Told again;
        _client->Subscribe(&again, _group);
        _client->SetValue(_locator, Long("again"));
        _client->UnSubscribe(&again);
        EXPECT_TRUE(again.last.empty() || again.last == Long("again"));
    }

    void End() {
        _iniWatcher.reset();
        _watcher.reset();
        _client.reset();
    }

    const Client::OperationMode _mode;
    InProcessServer _server{Document("[default]\nx=1\n")};
    const std::string _group = Long("group");
    const std::string _other = Long("other");
    const std::string _name = Long("name");
    const std::string _locator = "[" + _group + "]" + _name;
    const std::vector<std::string> _values{"", Long("1"), Long("2"), Long("3")};
    const core::IniFile _document = OneSetting("other group, not a short one", _name, Long("value"));
    bool _failed = false;
    /// The value acknowledged last, and those tried since that may have been set.
    std::vector<std::string> _attempted{""};
    Told _told;
    std::string _watched;
    core::IniFile _followed;
    std::unique_ptr<Client> _client;
    std::unique_ptr<SettingsWatcher> _watcher;
    std::unique_ptr<IniWatcher> _iniWatcher;
};

class ClientMemoryTests : public EveryMode {
protected:
    void RunAll(bool forGood) {
        bool failed = true;
        // Once before counting: what is kept for the next time is no leak.
        ClientLife(GetParam()).Run(100000000, false);
        std::size_t failAt = 1;
        for (; failed && !HasFailure(); ++failAt) {
            SCOPED_TRACE("allocation " + std::to_string(failAt));
            const std::ptrdiff_t before = LiveAllocations();
            failed = std::make_unique<ClientLife>(GetParam())->Run(failAt, forGood);
            ASSERT_FALSE(HasFailure());
            ASSERT_EQ(LiveAllocations(), before);
        }
        EXPECT_GT(failAt, 200U);
    }
};

ZUMRA_INSTANTIATE_IN_EVERY_MODE(ClientMemoryTests);

TEST_P(ClientMemoryTests, OneFailureIsThrownAndLeavesAllInOrder) {
    RunAll(false);
}

TEST_P(ClientMemoryTests, LastingFailureIsThrownAndLeavesAllInOrder) {
    RunAll(true);
}

}  // namespace
}  // namespace zumra::settings
