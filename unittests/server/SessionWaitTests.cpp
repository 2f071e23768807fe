#include <gtest/gtest.h>

#include <memory>

#include "server/SessionHarness.h"
#include "zumra/osa/Exception.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::server::testing {
namespace {

/// A persister whose saves wait until they are let through, and fail when told to.
class SlowPersister : public ISettingsPersister {
public:
    void LoadDefaults(SettingsCombiner&) override {}
    void LoadSettings(SettingsCombiner&) override {}
    void SaveSettings(const core::IniFile& settings) override {
        osa::MutexLock lock(_mutex);
        while (_closed) {
            _changed.Wait(_mutex);
        }
        if (_failing) {
            throw osa::Exception("no room\non the device");
        }
        _saved = settings;
    }

    void Open(bool failing = false) {
        osa::MutexLock lock(_mutex);
        _closed = false;
        _failing = failing;
        _changed.NotifyAll();
    }
    void Close() {
        osa::MutexLock lock(_mutex);
        _closed = true;
    }
    std::string Saved() {
        osa::MutexLock lock(_mutex);
        return _saved.SaveToString();
    }

private:
    osa::Mutex _mutex;
    osa::Condition _changed;
    bool _closed ZUMRA_GUARDED_BY(_mutex) = true;
    bool _failing ZUMRA_GUARDED_BY(_mutex) = false;
    core::IniFile _saved ZUMRA_GUARDED_BY(_mutex);
};

/// Counts calls and lets a thread wait for the next one.
class Wakes {
public:
    void Add() {
        osa::MutexLock lock(_mutex);
        ++_count;
        _changed.NotifyAll();
    }
    int Count() {
        osa::MutexLock lock(_mutex);
        return _count;
    }
    void Await(int count) {
        osa::MutexLock lock(_mutex);
        while (_count < count) {
            _changed.Wait(_mutex);
        }
    }

private:
    osa::Mutex _mutex;
    osa::Condition _changed;
    int _count ZUMRA_GUARDED_BY(_mutex) = 0;
};

class SessionWaitTests : public ::testing::Test {
protected:
    SessionWaitTests() {
        _env.settingsManager = _manager.get();
        _env.serializationManager = &_serializers;
        _session = MakeSession();
    }
    ~SessionWaitTests() override {
        _persister.Open();
        _session.reset();
        _manager.reset();
    }

    std::unique_ptr<Session> MakeSession(const SessionLimits& limits = {}) {
        return std::make_unique<Session>(
            _env, Session::Options{limits, nullptr, [this] { _wakes.Add(); }, nullptr});
    }
    /// What comes once the session was woken, until it waits no longer.
    std::string DrainWhenWoken(int count = 1) {
        _wakes.Await(count);
        return Drain(*_session);
    }

    SlowPersister _persister;
    std::unique_ptr<SettingsManager> _manager =
        std::make_unique<SettingsManager>(&_persister, nullptr, nullptr, true);
    SerializationManager _serializers;
    ServerEnv _env;
    Wakes _wakes;
    std::unique_ptr<Session> _session;
};

TEST_F(SessionWaitTests, FlushIsAnsweredWhenSaved) {
    EXPECT_EQ(Feed(*_session, "merge\n[a]\nx=1\n.\nsync\nflush\n"), "synced\n");
    EXPECT_TRUE(_session->Waiting());
    EXPECT_EQ(_persister.Saved(), "");
    _persister.Open();
    EXPECT_EQ(DrainWhenWoken(), "flushed\n");
    EXPECT_FALSE(_session->Waiting());
    EXPECT_EQ(_persister.Saved(), "[a]\nx = 1\n\n");
}

TEST_F(SessionWaitTests, FlushWithNothingToSaveIsAnsweredAtOnce) {
    EXPECT_EQ(Feed(*_session, "flush\n"), "flushed\n");
    EXPECT_FALSE(_session->Waiting());
}

TEST_F(SessionWaitTests, TestAndMergeIsAnsweredWhenSaved) {
    EXPECT_EQ(Feed(*_session, "subscribe\na\n.\ntest-and-merge\n.\n[a]\nx=1\n.\n"),
              "async change\na\n.\n[a]\nx = 1\n\n.\n");
    EXPECT_TRUE(_session->Waiting());
    _persister.Open();
    EXPECT_EQ(DrainWhenWoken(), "result\nok\n");
    EXPECT_EQ(_persister.Saved(), "[a]\nx = 1\n\n");
}

TEST_F(SessionWaitTests, ARefusalNeedsNoSave) {
    EXPECT_EQ(Feed(*_session, "test-and-merge\n[a]\nx=1\n.\n.\n"), "result\nrefused\n");
}

TEST_F(SessionWaitTests, LaterRequestsAreKeptMeanwhile) {
    EXPECT_EQ(Feed(*_session, "merge\n[a]\nx=1\n.\nflush\nget\na\n.\nmer"), "");
    EXPECT_EQ(Feed(*_session, "ge\n[a]\nx=2\n.\nget\na\n.\n"), "");
    EXPECT_EQ(Finish(*_session), "");
    EXPECT_FALSE(_session->Ended());
    EXPECT_EQ(_manager->GetValue("a", "x"), "1");
    _persister.Open();
    EXPECT_EQ(DrainWhenWoken(), "flushed\n[a]\nx = 1\n\n[a]\nx = 2\n\n");
    EXPECT_TRUE(_session->Ended());
}

TEST_F(SessionWaitTests, NotificationsDoNotWait) {
    EXPECT_EQ(Feed(*_session, "subscribe\n*\n.\nmerge\n[a]\n.\nflush\n"), "async change\na\n.\n[a]\n\n.\n");
    _manager->SetValue("b", "x", "1");
    EXPECT_EQ(_session->TakeOutput(), "async change\nb\n.\n[b]\nx = 1\n\n.\n");
    EXPECT_TRUE(_session->Waiting());
    _session->Resume();
    EXPECT_TRUE(_session->Waiting());
    _persister.Open();
    EXPECT_EQ(DrainWhenWoken(2), "flushed\n");
}

TEST_F(SessionWaitTests, AFailedSaveIsAnError) {
    EXPECT_EQ(Feed(*_session, "merge\n[a]\nx=1\n.\nflush\nsync\n"), "");
    _persister.Open(true);
    EXPECT_EQ(DrainWhenWoken(), "error\n\"no room\\non the device\"\nsynced\n");
    EXPECT_FALSE(_session->Waiting());
    EXPECT_TRUE(_session->InputUnderstood());
}

TEST_F(SessionWaitTests, KeptInputHasABound) {
    SessionLimits limits;
    limits.document = 100;
    _session = MakeSession(limits);
    Feed(*_session, "merge\n[a]\nx=1\n.\nflush\n");
    EXPECT_TRUE(_session->Waiting());
    Feed(*_session, std::string(100, '\n'));
    EXPECT_FALSE(_session->Ended());
    Feed(*_session, "\n");
    EXPECT_EQ(_session->EndReason(), "input queue over its limit of 100 bytes");
}

TEST_F(SessionWaitTests, MayBeDestroyedWhileItWaits) {
    Feed(*_session, "merge\n[a]\nx=1\n.\nflush\n");
    EXPECT_TRUE(_session->Waiting());
    _session.reset();
    _persister.Open();
    _manager.reset();
    EXPECT_EQ(_persister.Saved(), "[a]\nx = 1\n\n");
    EXPECT_EQ(_wakes.Count(), 0) << "its driver may be gone as well";
}

TEST_F(SessionWaitTests, OneConnectionsWaitIsNotAnothers) {
    Session other(_env, {});
    Feed(*_session, "merge\n[a]\nx=1\n.\nflush\n");
    EXPECT_EQ(Feed(other, "get\na\n.\nmerge\n[a]\nx=2\n.\nsync\n"), "[a]\nx = 1\n\nsynced\n");
    EXPECT_TRUE(_session->Waiting());
}

TEST(SessionSaveTests, ASaveAtOnceThatFailsIsAnErrorAndNotARefusal) {
    SlowPersister persister;
    SettingsManager manager(&persister);
    SerializationManager serializers;
    ServerEnv env{&manager, &serializers};
    Session session(env, {});
    persister.Open(true);
    const std::string error = "error\n\"no room\\non the device\"\n";
    EXPECT_EQ(Feed(session, "subscribe\na\n.\nmerge\n[a]\nx=1\n.\nsync\n"),
              "async change\na\n.\n[a]\nx = 1\n\n.\n" + error + "synced\n");
    EXPECT_EQ(Feed(session, "flush\n"), error);
    persister.Open();
    EXPECT_EQ(Feed(session, "flush\nget\na\n.\n"), "flushed\n[a]\nx = 1\n\n");
    EXPECT_EQ(persister.Saved(), "[a]\nx = 1\n\n");
}

}  // namespace
}  // namespace zumra::settings::server::testing
