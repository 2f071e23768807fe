#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "client/Callbacks.h"
#include "client/Exchanges.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using Strings = std::set<std::string>;
using test::Document;
using test::Drain;
using test::Event;
using test::Recorder;

class CallbackTests : public testing::TestWithParam<Client::OperationMode> {
protected:
    [[nodiscard]] static bool OwnThread() { return GetParam() == Client::kLocalMultiThreadedPipe; }

    Client _client{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(All, CallbackTests, testing::ValuesIn(test::kModes),
                         [](const auto& mode) { return test::ModeName(mode.param); });

TEST_P(CallbackTests, EachChangeIsToldOnceInOrderWithTheWholeGroup) {
    _client.SetValue("[a]before", "x");
    Recorder callback;
    _client.Subscribe(&callback, "a");
    constexpr unsigned kChanges = 200;
    for (unsigned i = 0; i < kChanges; ++i) {
        _client.SetValue("[a]count", std::to_string(i));
        _client.SetValue("[b]count", std::to_string(i));
    }
    Drain(_client);
    const auto calls = callback.Calls();
    ASSERT_EQ(calls.size(), kChanges);
    for (unsigned i = 0; i < kChanges; ++i) {
        EXPECT_EQ(calls[i].changed, Strings{"a"});
        EXPECT_EQ(calls[i].data.SaveToString(), "[a]\nbefore = x\ncount = " + std::to_string(i) + "\n\n");
    }
}

TEST_P(CallbackTests, RunsOnTheCallersThreadOnlyWithoutThreadsOfItsOwn) {
    std::thread::id thread;
    Recorder callback([&](const Recorder::Call&) { thread = std::this_thread::get_id(); });
    _client.Subscribe(&callback, "a");
    _client.SetValue("[a]x", "1");
    if (OwnThread()) {
        callback.WaitForCalls(1);
    }
    ASSERT_EQ(callback.Count(), 1U) << "before the call returned";
    EXPECT_EQ(thread == std::this_thread::get_id(), !OwnThread());
}

TEST_P(CallbackTests, OverlappingPatternsNeverDoubleACall) {
    Recorder callback;
    _client.Subscribe(&callback, Strings{"ab", "a*", "*"});
    _client.Subscribe(&callback, "abc*");
    _client.Subscribe(&callback, "ab");
    _client.MergeSettings(Document("[ab]\nx=1\n[abc]\nx=1\n[b]\nx=1\n"));
    _client.SetValue("[last]x", "1");
    callback.WaitForCalls(2);
    EXPECT_EQ(callback.Calls()[0].changed, (Strings{"ab", "abc", "b"}));
    EXPECT_EQ(callback.Calls()[1].changed, (Strings{"last"})) << "nothing twice";
}

TEST_P(CallbackTests, SubscribingAgainAddsGroups) {
    Recorder callback;
    _client.Subscribe(&callback, "a");
    _client.Subscribe(&callback, "b*");
    _client.SetValue("[a]x", "1");
    _client.SetValue("[b1]x", "1");
    _client.SetValue("[c]x", "1");
    Drain(_client);
    ASSERT_EQ(callback.Count(), 2U);
    EXPECT_EQ(callback.Calls()[0].changed, Strings{"a"});
    EXPECT_EQ(callback.Calls()[1].changed, Strings{"b1"});
}

TEST_P(CallbackTests, EachCallbackGetsExactlyItsGroups) {
    _client.MergeSettings(Document("[a1]\nx=1\n[b]\nx=1\n"));
    Recorder prefix;
    Recorder name;
    Recorder star;
    _client.Subscribe(&prefix, "a*");
    _client.Subscribe(&name, "b");
    _client.Subscribe(&star, Strings{"a2", "b"});
    _client.OverwriteSettings(Strings{"a1", "b"}, Document("[a2]\ny=2\n[c]\nz=3\n"));
    Drain(_client);
    ASSERT_EQ(prefix.Count(), 1U);
    EXPECT_EQ(prefix.Calls()[0].changed, (Strings{"a1", "a2"}));
    EXPECT_EQ(prefix.Calls()[0].data.SaveToString(), "[a2]\ny = 2\n\n");
    ASSERT_EQ(name.Count(), 1U);
    EXPECT_EQ(name.Calls()[0].changed, Strings{"b"});
    EXPECT_TRUE(name.Calls()[0].data.empty());
    ASSERT_EQ(star.Count(), 1U);
    EXPECT_EQ(star.Calls()[0].changed, (Strings{"a2", "b"}));
    EXPECT_EQ(star.Calls()[0].data.SaveToString(), "[a2]\ny = 2\n\n");
}

TEST_P(CallbackTests, NamesThatLookLikeSomethingElseAreTold) {
    Recorder callback;
    const Strings names{".", "", "a\nb", "\"q\"", " "};
    _client.Subscribe(&callback, names);
    core::IniFile document;
    for (const std::string& name : names) {
        document[name]["x"] = name;
    }
    document["star*"]["x"] = "1";
    _client.MergeSettings(document);
    Drain(_client);
    ASSERT_EQ(callback.Count(), 1U);
    EXPECT_EQ(callback.Calls()[0].changed, names);
    document.EraseGroup("star*");
    EXPECT_EQ(callback.Calls()[0].data, document);
}

TEST_P(CallbackTests, UsesTheClientFreely) {
    Recorder inner;
    std::string read;
    Recorder outer([&](const Recorder::Call& call) {
        read += _client.GetValue("[a]x");
        if (call.data.GetValue("a", "x") == "1") {
            _client.Subscribe(&inner, "c");
            _client.SetValue("[b]y", "from within");
            _client.SetValue("[c]z", "from within");
            _client.Flush();
        } else {
            _client.UnSubscribe(&inner);
        }
    });
    _client.Subscribe(&outer, "a");
    _client.SetValue("[a]x", "1");
    outer.WaitForCalls(1);
    _client.SetValue("[a]x", "2");
    outer.WaitForCalls(2);
    _client.SetValue("[c]z", "from outside");
    Drain(_client);
    EXPECT_EQ(read, "12");
    EXPECT_EQ(_client.GetValue("[b]y"), "from within");
    EXPECT_EQ(inner.Count(), 1U);
}

TEST_P(CallbackTests, ChangingWhatItIsToldOfIsToldNext) {
    constexpr unsigned kLast = 20;
    Recorder callback([&](const Recorder::Call& call) {
        const unsigned long count = std::stoul(call.data.GetValue("a", "count"));
        if (count < kLast) {
            _client.SetValue("[a]count", std::to_string(count + 1));
        }
    });
    _client.Subscribe(&callback, "a");
    _client.SetValue("[a]count", "0");
    callback.WaitForCalls(kLast + 1);
    Drain(_client);
    std::string order;
    for (const auto& call : callback.Calls()) {
        order += call.data.GetValue("a", "count") + " ";
    }
    // The record is made at the end of a call; locally the calls are one after another all the same.
    EXPECT_EQ(order, "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 ");
}

TEST_P(CallbackTests, WhatACallbackThrowsGoesToTheHandlerAndOthersAreCalled) {
    osa::Mutex mutex;
    std::string reported;
    _client.SetCallbackErrorHandler([&](const std::exception_ptr& error) {
        osa::MutexLock lock(mutex);
        try {
            std::rethrow_exception(error);
        } catch (const std::exception& e) {
            reported += e.what();
        } catch (int number) {
            reported += std::to_string(number);
        }
        throw std::runtime_error("a handler must not throw");
    });
    Recorder before;
    Recorder throwing([](const Recorder::Call&) { throw std::runtime_error("oops"); });
    Recorder throwingInt([](const Recorder::Call&) { throw 42; });
    Recorder after;
    for (Recorder* callback : {&before, &throwing, &throwingInt, &after}) {
        _client.Subscribe(callback, "a");
    }
    testing::internal::CaptureStderr();
    EXPECT_NO_THROW(_client.SetValue("[a]x", "1"));
    Drain(_client);
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_EQ(written,
              "zumra-settings: a change callback threw: a handler must not throw\n"
              "zumra-settings: a change callback threw: a handler must not throw\n");
    EXPECT_EQ(before.Count(), 1U);
    EXPECT_EQ(after.Count(), 1U);
    osa::MutexLock lock(mutex);
    EXPECT_TRUE(reported == "oops42" || reported == "42oops") << reported;
}

TEST_P(CallbackTests, WithoutAHandlerStandardErrorIsTold) {
    _client.SetCallbackErrorHandler([](const std::exception_ptr&) { FAIL() << "was taken away"; });
    _client.SetCallbackErrorHandler({});
    Recorder throwing([](const Recorder::Call&) { throw std::runtime_error("oops"); });
    _client.Subscribe(&throwing, "a");
    testing::internal::CaptureStderr();
    _client.SetValue("[a]x", "1");
    Drain(_client);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "zumra-settings: a change callback threw: oops\n");
}

TEST_P(CallbackTests, WhatIsThrownNeedsNotBeAnException) {
    Recorder throwing([](const Recorder::Call&) { throw 7; });
    _client.Subscribe(&throwing, "a");
    testing::internal::CaptureStderr();
    _client.SetValue("[a]x", "1");
    Drain(_client);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zumra-settings: a change callback threw: unknown exception\n");
}

TEST_P(CallbackTests, OthersGoOnWhileACallbackRuns) {
    Event inside;
    Event release;
    Recorder slow([&](const Recorder::Call&) {
        inside.Set();
        release.Wait();
    });
    _client.Subscribe(&slow, "a");
    std::thread changing([&] { _client.SetValue("[a]x", "1"); });
    inside.Wait();
    EXPECT_EQ(_client.GetValue("[a]x"), "1");
    _client.SetValue("[a]x", "2");
    _client.SetValue("[b]x", "2");
    Recorder another;
    _client.Subscribe(&another, "c");
    _client.UnSubscribe(&another);
    EXPECT_EQ(_client.GetValue("[b]x"), "2");
    release.Set();
    changing.join();
    Drain(_client);
    EXPECT_EQ(slow.Count(), 2U);
}

}  // namespace
}  // namespace zumra::settings
