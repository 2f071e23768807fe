#include <gtest/gtest.h>

#include <algorithm>

#include "server/SessionHarness.h"
#include "support/FailingMemory.h"

namespace zumra::settings::server::testing {
namespace {

using zumra::test::FailingMemory;

constexpr int kRequests = 6;

std::string Group(int number) {
    return "group with a name too long for a string's own room " + std::to_string(number);
}

std::string Script() {
    std::string script;
    for (int i = 0; i < kRequests; ++i) {
        script += "test-and-merge\n[none]\n.\n[" + Group(i) + "]\nx=1\n.\n";
    }
    return script;
}

std::string Notification(int number) {
    return "async change\n" + Group(number) + "\n.\n[" + Group(number) + "]\nx = 1\n\n.\n";
}

bool TakePrefix(std::string& text, const std::string& prefix) {
    if (!text.starts_with(prefix)) {
        return false;
    }
    text.erase(0, prefix.size());
    return true;
}

class SessionMemoryTests : public ::testing::TestWithParam<bool> {
protected:
    SessionMemoryTests() {
        Feed(_session, "subscribe\n*\n.\nget\n*\n.\n");
        Feed(_observer, "subscribe\n*\n.\n");
    }

    /// Runs the script with memory failing at one place; false when it never came to that.
    bool RunScript(std::size_t failAt) {
        const std::string script = Script();
        const FailingMemory failing(failAt, GetParam());
        _session.Feed(script);
        return failing.Failed();
    }

    bool IsStored(int number) {
        return _server.manager->Read(common::GroupNameMatcher(Group(number))).size() == 1;
    }

    /// Every answer must be whole and true; what is not answered needs the connection's end for a reason.
    void CheckAnswers() {
        std::string output = Drain(_session);
        int answered = 0;
        for (; answered < kRequests; ++answered) {
            const bool notified = TakePrefix(output, Notification(answered));
            if (TakePrefix(output, "result\nok\n")) {
                EXPECT_TRUE(notified && IsStored(answered));
            } else if (TakePrefix(output, "error\nout of memory\n")) {
                EXPECT_FALSE(notified || IsStored(answered));
            } else {
                break;
            }
        }
        EXPECT_EQ(output, "");
        EXPECT_EQ(_session.Ended(), answered < kRequests);
        EXPECT_EQ(_session.EndReason(), _session.Ended() ? "out of memory" : "");
    }

    void CheckObserver() {
        std::string output = Drain(_observer);
        if (_observer.Ended()) {
            EXPECT_EQ(_observer.EndReason(), "out of memory");
            return;
        }
        for (int i = 0; i < kRequests; ++i) {
            EXPECT_EQ(TakePrefix(output, Notification(i)), IsStored(i));
        }
        EXPECT_EQ(output, "");
    }

    Server _server;
    Session _session{_server.env, {}};
    Session _observer{_server.env, {}};
};

class SessionMemoryRun : public SessionMemoryTests {
public:
    void TestBody() override {}
    using SessionMemoryTests::CheckAnswers;
    using SessionMemoryTests::CheckObserver;
    using SessionMemoryTests::RunScript;
};

TEST_P(SessionMemoryTests, WithoutMemoryAnAnswerIsAnErrorOrNone) {
    bool failed = true;
    std::size_t failAt = 1;
    for (; failed; ++failAt) {
        SessionMemoryRun run;
        failed = run.RunScript(failAt);
        run.CheckAnswers();
        run.CheckObserver();
        ASSERT_FALSE(HasFailure()) << "when allocation " << failAt << " fails";
    }
    EXPECT_GT(failAt, 50U);
}

TEST_P(SessionMemoryTests, WithoutMemoryASubscriptionIsThereOrNot) {
    bool failed = true;
    for (std::size_t failAt = 1; failed; ++failAt) {
        Server server;
        Session session(server.env, {});
        const std::string names = Group(1) + "\n" + Group(2) + "\n" + Group(3) + "*\n.\n";
        const std::string request = "subscribe\n" + names;
        {
            const FailingMemory failing(failAt, GetParam());
            session.Feed(request);
            failed = failing.Failed();
        }
        const std::string output = Drain(session);
        server.manager->SetValue(Group(1), "x", "1");
        server.manager->SetValue(Group(3) + "4", "x", "1");
        const bool told = session.HasOutput();
        if (session.Ended()) {
            EXPECT_EQ(session.EndReason(), "out of memory");
            continue;
        }
        EXPECT_EQ(output, told ? "" : "error\nout of memory\n") << failAt;
        EXPECT_EQ(session.Subscriptions().empty(), !told) << failAt;
        EXPECT_EQ(
            Feed(session, "unsubscribe\n" + names + "subscribe\n" + names + "sync\n"),
            (told ? Notification(1) + "async change\n" + Group(3) + "4\n.\n[" + Group(3) + "4]\nx = 1\n\n.\n"
                  : "") +
                "synced\n");
        server.manager->SetValue(Group(1), "x", "2");
        EXPECT_TRUE(session.HasOutput()) << failAt;
    }
}

INSTANTIATE_TEST_SUITE_P(OnceAndForGood, SessionMemoryTests, ::testing::Bool());

}  // namespace
}  // namespace zumra::settings::server::testing
