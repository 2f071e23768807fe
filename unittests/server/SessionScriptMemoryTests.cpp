#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "server/SessionHarness.h"
#include "settings/common/LineCodec.h"
#include "support/FailingMemory.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server::testing {
namespace {

using zumra::test::FailingMemory;
using zumra::test::LiveAllocations;

constexpr std::string_view kDefaults =
    "[a group by default, with a long name]\nvalue with a long name=which is long as well\n[d2]\nx=1\n";

/// Requests of every kind that change or tell something.
const std::vector<std::string>& Script() {
    static const std::string group = "[the group of a script, which is long]\n";
    static const std::vector<std::string> script = {
        "subscribe\nthe group*\na group by default, with a long name\n.\n",
        "merge\n" + group + "x=a value that is too long for a string's own room\ny=1\n.\n",
        "get\n*\n.\n",
        "get delimited\nthe group of a script, which is long\nd2\n.\n",
        "get-value\n[the group of a script, which is long]x\n[d2]x\n[the group that there is not at "
        "all]x\n.\n",
        "overwrite\nthe group*\n.\n" + group + "x=another value that is too long for that room\n.\n",
        "test-and-merge\n" + group + "x=another value that is too long for that room\n.\n[new]\nx=1\n.\n",
        "test-and-merge explain\n" + group + "x=it is not what is expected here at all\n.\n[new]\nx=2\n.\n",
        "test-exactly-and-merge\nnew\n.\n[new]\nx=1\n.\n[new]\ny=2\n.\n",
        "test-exactly-and-overwrite\nnew\n.\n[new]\nx=1\ny=2\n.\n[new]\nz=and now something quite "
        "different\n.\n",
        "erase\na group by default, with a long name\n.\n",
        "restore\na group by default, with a long name\n.\n",
        "erase-value\n[the group of a script, which is long]x\n.\n",
        "flush\n",
        "revision\n",
        "serialize phparray\n",
        "merge\na:1:{s:18:\"the group in PHP's \";a:1:{s:1:\"x\";s:20:\"01234567890123456789\";}}\n",
        "get\nthe group*\n.\n",
        "unsubscribe\nthe group*\n.\n",
        "serialize ini\n",
        "sync\n",
    };
    return script;
}

/// A store with a session, which is given the script, and an observer of all changes.
class ScriptedLife {
public:
    ScriptedLife() {
        Feed(_observer, "subscribe\n*\n.\n");
        _known = _server.Everything();
    }

    struct Step {
        std::string output;
        core::IniFile store;
    };

    /// The steps as they are with all the memory that they need.
    std::vector<Step> RunWhole() {
        std::vector<Step> steps;
        for (const std::string& request : Script()) {
            std::string output = Feed(_session, request);
            steps.push_back({std::move(output), _server.Everything()});
        }
        return steps;
    }

    /// Runs the script until memory fails; true when it came to that.
    bool RunFailing(std::size_t failAt, bool forGood, const std::vector<Step>& whole) {
        std::size_t left = failAt;
        core::IniFile before = _server.Everything();
        for (std::size_t i = 0; i < Script().size(); ++i) {
            const bool failed = FeedFailing(Script()[i], left, forGood);
            const std::string output = Drain(_session);
            if (failed) {
                CheckFailed(i, output, before, whole[i]);
                CheckAfterwards();
                return true;
            }
            EXPECT_EQ(output, whole[i].output) << i;
            before = _server.Everything();
            EXPECT_EQ(before, whole[i].store) << i;
        }
        return false;
    }

private:
    /// Counts `left` down by what the request took; true when memory failed.
    bool FeedFailing(const std::string& request, std::size_t& left, bool forGood) {
        const FailingMemory memory(left, forGood);
        _session.Feed(request);
        left = memory.Left();
        return memory.Failed();
    }

    void CheckFailed(std::size_t number, const std::string& output, const core::IniFile& before,
                     const Step& whole) {
        const core::IniFile store = _server.Everything();
        EXPECT_TRUE(store == before || store == whole.store) << "the request was carried out in part";
        if (_session.Ended()) {
            EXPECT_EQ(_session.EndReason(), "out of memory") << number;
            return;
        }
        if (output == "error\nout of memory\n" && whole.output != output) {
            EXPECT_EQ(store, before) << number << ": an error was replied to what was done";
            return;
        }
        if (output.ends_with("error\ncannot save: out of memory\n")) {
            EXPECT_EQ(store, whole.store) << number << ": what could not be saved was not done";
            return;
        }
        EXPECT_EQ(output, whole.output) << number;
        EXPECT_EQ(store, whole.store) << number << ": nothing was done, and no error replied";
    }

    /// With memory again everything works.
    void CheckAfterwards() {
        if (!_session.Ended()) {
            EXPECT_EQ(Feed(_session,
                           "serialize ini\nunsubscribe\nthe group*\na group by default, with a long "
                           "name\n.\nsync\n"),
                      "synced\n");
        }
        Session fresh(_server.env, {});
        EXPECT_EQ(Feed(fresh, "merge\n[afterwards]\nx=1\n.\nget delimited\nafterwards\n.\nflush\n"),
                  "data\n[afterwards]\nx = 1\n\n.\nflushed\n");
        CheckObserver();
        const core::IniFile store = _server.Everything();
        SettingsManager again(&_server.persister);
        core::IniFile saved;
        again.GetSettings(common::GroupNameMatcher("*"), saved);
        EXPECT_EQ(saved, store) << "what was saved is not the store";
    }

    /// The sum of what the observer was told is the store, unless it was cut off.
    void CheckObserver() {
        const std::string output = Drain(_observer);
        if (_observer.Ended()) {
            EXPECT_EQ(_observer.EndReason(), "out of memory");
            return;
        }
        std::istringstream in(output);
        std::string line;
        while (std::getline(in, line)) {
            ASSERT_EQ(line, "async change");
            while (std::getline(in, line) && line != ".") {
                _known.EraseGroup(common::LineCodec::Decode(line));
            }
            std::string document;
            while (std::getline(in, line) && line != ".") {
                document += line + "\n";
            }
            _known.LoadFromString(document);
        }
        EXPECT_EQ(_known, _server.Everything()) << "a change was not told";
    }

    Server _server{kDefaults};
    Session _session{_server.env, {}};
    Session _observer{_server.env, {}};
    core::IniFile _known;
};

/// What threads keep for their next notification is the same after this.
void TellOnce() {
    Server server;
    Session session(server.env, {});
    Feed(session, "subscribe\n*\n.\nmerge\n[a]\nx=1\n.\n");
}

class SessionScriptMemoryTests : public ::testing::TestWithParam<bool> {};

TEST_P(SessionScriptMemoryTests, EveryRequestIsDoneOrNotAndNothingLeaks) {
    const std::vector<ScriptedLife::Step> whole = std::make_unique<ScriptedLife>()->RunWhole();
    std::size_t failAt = 1;
    for (bool failed = true; failed && !HasFailure(); ++failAt) {
        SCOPED_TRACE("allocation " + std::to_string(failAt));
        TellOnce();
        const std::ptrdiff_t before = LiveAllocations();
        failed = std::make_unique<ScriptedLife>()->RunFailing(failAt, GetParam(), whole);
        TellOnce();
        ASSERT_FALSE(HasFailure());
        ASSERT_EQ(LiveAllocations(), before);
    }
    EXPECT_GT(failAt, 300U);
}

INSTANTIATE_TEST_SUITE_P(OnceAndForGood, SessionScriptMemoryTests, ::testing::Bool());

}  // namespace
}  // namespace zumra::settings::server::testing
