#include "settings/common/ChangeRouter.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/RecordingListener.h"

namespace zumra::settings::common {
namespace {

using testing::ChangeOf;
using testing::RecordingListener;
using Calls = std::vector<RecordingListener::Call>;

GroupNameMatcher Groups(const std::set<std::string>& namesAndPatterns) {
    return GroupNameMatcher(namesAndPatterns);
}

/// Queues and delivers one change.
void Tell(ChangeRouter& router, std::uint64_t revision, const std::vector<std::string>& groups) {
    ChangeRouter::Deliver(router.Queue(ChangeOf(revision, groups)));
}

TEST(ChangeRouterTest, TellsEachListenerItsOwnGroupsInOneCall) {
    ChangeRouter router;
    RecordingListener name;
    RecordingListener prefix;
    RecordingListener both;
    RecordingListener all;
    RecordingListener other;
    router.Add(&name, Groups({"a/1"}));
    router.Add(&prefix, Groups({"a/*"}));
    router.Add(&both, Groups({"b", "a/2", "c*"}));
    router.Add(&all, Groups({"*"}));
    router.Add(&other, Groups({"a", "a/1/*", "x*"}));
    Tell(router, 7, {"", "a/1", "a/2", "b"});
    EXPECT_EQ(name.calls, (Calls{{7, {"a/1"}}}));
    EXPECT_EQ(prefix.calls, (Calls{{7, {"a/1", "a/2"}}}));
    EXPECT_EQ(both.calls, (Calls{{7, {"a/2", "b"}}}));
    EXPECT_EQ(all.calls, (Calls{{7, {"", "a/1", "a/2", "b"}}}));
    EXPECT_EQ(other.calls, Calls{});
}

TEST(ChangeRouterTest, GroupCoveredInSeveralWaysIsToldOnce) {
    ChangeRouter router;
    RecordingListener listener;
    router.Add(&listener, Groups({"abc", "a*", "ab*", "*"}));
    router.Add(&listener, Groups({"abc", "abc*"}));
    Tell(router, 1, {"abc"});
    EXPECT_EQ(listener.calls, (Calls{{1, {"abc"}}}));
    EXPECT_EQ(router.ListenerCount(), 1U);
}

TEST(ChangeRouterTest, ExactNameMayEndInAStar) {
    ChangeRouter router;
    RecordingListener listener;
    GroupNameMatcher groups;
    groups.AddName("a*");
    router.Add(&listener, groups);
    Tell(router, 1, {"a*", "ab"});
    EXPECT_EQ(listener.calls, (Calls{{1, {"a*"}}}));
}

TEST(ChangeRouterTest, RemovingGroupsKeepsTheRest) {
    ChangeRouter router;
    RecordingListener listener;
    RecordingListener neighbour;
    router.Add(&listener, Groups({"a", "b", "c*", "d*"}));
    router.Add(&neighbour, Groups({"a", "c*"}));
    router.Remove(&listener, Groups({"a", "c*", "never*", "d"}));
    Tell(router, 1, {"a", "b", "c", "d"});
    EXPECT_EQ(listener.calls, (Calls{{1, {"b", "d"}}}));
    EXPECT_EQ(neighbour.calls, (Calls{{1, {"a", "c"}}}));
    EXPECT_TRUE(router.Concerns("c"));
    router.Remove(&neighbour);
    EXPECT_FALSE(router.Concerns("c"));
    EXPECT_FALSE(router.Concerns("a"));
    EXPECT_TRUE(router.Concerns("dd"));
    router.Remove(&listener);
    EXPECT_FALSE(router.HasListeners());
    EXPECT_FALSE(router.Concerns("dd"));
    router.Remove(&listener);
    router.Remove(&listener, Groups({"b"}));
    EXPECT_EQ(router.ListenerCount(), 0U);
}

TEST(ChangeRouterTest, GroupsTakenAwayMayBeAddedAgain) {
    ChangeRouter router;
    RecordingListener listener;
    router.Add(&listener, Groups({"a", "b*"}));
    router.Remove(&listener, Groups({"a", "b*"}));
    Tell(router, 1, {"a", "b1"});
    router.Add(&listener, Groups({"a", "b*"}));
    Tell(router, 2, {"a", "b1"});
    EXPECT_EQ(listener.calls, (Calls{{2, {"a", "b1"}}}));
}

TEST(ChangeRouterTest, AllGroupsIsTheUnion) {
    ChangeRouter router;
    RecordingListener a;
    RecordingListener b;
    router.Add(&a, Groups({"x", "y*"}));
    router.Add(&b, Groups({"x", "z*"}));
    const GroupNameMatcher all = router.AllGroups();
    EXPECT_EQ(all.Names(), (GroupNameMatcher::Strings{"x"}));
    EXPECT_EQ(all.Patterns(), (GroupNameMatcher::Strings{"y*", "z*"}));
}

TEST(ChangeRouterTest, OrderIsThatOfPosting) {
    ChangeRouter router;
    RecordingListener listener;
    router.Add(&listener, Groups({"a"}));
    auto first = router.Prepare(ChangeOf(1, {"a"}));
    auto second = router.Prepare(ChangeOf(2, {"a"}));
    const auto dropped = router.Prepare(ChangeOf(3, {"a"}));
    ChangeRouter::Post(second);
    ChangeRouter::Post(first);
    ChangeRouter::Deliver(first);
    ChangeRouter::Deliver(second);
    EXPECT_EQ(listener.Revisions(), (std::vector<std::uint64_t>{2, 1}));
}

TEST(ChangeRouterTest, ChangeMadeByAListenerComesToItAfterItsCall) {
    ChangeRouter router;
    RecordingListener bystander;
    int depth = 0;
    RecordingListener listener([&](std::uint64_t revision) {
        EXPECT_EQ(depth++, 0) << "called within its own call";
        if (revision < 3) {
            Tell(router, revision + 1, {"a"});
        }
        --depth;
    });
    router.Add(&listener, Groups({"a"}));
    router.Add(&bystander, Groups({"a"}));
    Tell(router, 1, {"a"});
    EXPECT_EQ(listener.Revisions(), (std::vector<std::uint64_t>{1, 2, 3}));
    EXPECT_EQ(bystander.Revisions(), (std::vector<std::uint64_t>{1, 2, 3}));
}

TEST(ChangeRouterTest, WhatIsQueuedForGroupsTakenAwayStillComes) {
    ChangeRouter router;
    RecordingListener listener;
    router.Add(&listener, Groups({"a", "b"}));
    const auto deliveries = router.Queue(ChangeOf(1, {"a"}));
    router.Remove(&listener, Groups({"a"}));
    ChangeRouter::Deliver(deliveries);
    Tell(router, 2, {"a"});
    EXPECT_EQ(listener.Revisions(), std::vector<std::uint64_t>{1});
}

TEST(ChangeRouterTest, WhatIsQueuedForARemovedListenerIsDropped) {
    ChangeRouter router;
    RecordingListener listener;
    router.Add(&listener, Groups({"a"}));
    const auto queued = router.Queue(ChangeOf(1, {"a"}));
    auto prepared = router.Prepare(ChangeOf(2, {"a"}));
    router.Remove(&listener);
    ChangeRouter::Post(prepared);
    ChangeRouter::Deliver(queued);
    ChangeRouter::Deliver(prepared);
    EXPECT_EQ(listener.calls, Calls{});
}

TEST(ChangeRouterTest, ListenerMayRemoveAndDestroyItselfInItsCall) {
    ChangeRouter router;
    std::unique_ptr<RecordingListener> listener;
    std::vector<std::uint64_t> told;
    listener = std::make_unique<RecordingListener>([&](std::uint64_t revision) {
        told.push_back(revision);
        router.Remove(listener.get());
        Tell(router, 3, {"a"});
        auto* outlivesTheCall = &told;
        listener.reset();
        outlivesTheCall->push_back(100);
    });
    router.Add(listener.get(), Groups({"a"}));
    const auto first = router.Queue(ChangeOf(1, {"a"}));
    const auto second = router.Queue(ChangeOf(2, {"a"}));
    ChangeRouter::Deliver(first);
    ChangeRouter::Deliver(second);
    EXPECT_EQ(told, (std::vector<std::uint64_t>{1, 100}));
    EXPECT_EQ(router.ListenerCount(), 0U);
}

TEST(ChangeRouterTest, ListenerThatComesBackInItsCallIsStillCalledOneAtATime) {
    ChangeRouter router;
    int depth = 0;
    RecordingListener* self = nullptr;
    RecordingListener listener([&](std::uint64_t revision) {
        EXPECT_EQ(depth++, 0);
        if (revision == 1) {
            router.Remove(self);
            router.Add(self, Groups({"b"}));
            Tell(router, 2, {"a"});
            Tell(router, 3, {"b"});
        }
        --depth;
    });
    self = &listener;
    router.Add(&listener, Groups({"a"}));
    Tell(router, 1, {"a"});
    EXPECT_EQ(listener.Revisions(), (std::vector<std::uint64_t>{1, 3}));
    EXPECT_EQ(router.ListenerCount(), 1U);
    Tell(router, 4, {"b"});
    EXPECT_EQ(listener.Revisions(), (std::vector<std::uint64_t>{1, 3, 4}));
}

TEST(ChangeRouterTest, WhatWasPreparedBeforeAListenerLeftIsNotForTheOneWhoComesBack) {
    ChangeRouter router;
    ChangeRouter::Deliveries prepared;
    RecordingListener* self = nullptr;
    RecordingListener listener([&](std::uint64_t revision) {
        if (revision == 1) {
            prepared = router.Prepare(ChangeOf(2, {"a"}));
            router.Remove(self);
            router.Add(self, GroupNameMatcher("a"));
        }
    });
    self = &listener;
    router.Add(&listener, GroupNameMatcher("a"));
    ChangeRouter::Deliver(router.Queue(ChangeOf(1, {"a"})));
    ChangeRouter::Post(prepared);
    ChangeRouter::Deliver(prepared);
    ChangeRouter::Deliver(router.Queue(ChangeOf(3, {"a"})));
    EXPECT_EQ(listener.Revisions(), (std::vector<std::uint64_t>{1, 3}));
}

TEST(ChangeRouterTest, ListenerMayRemoveAnotherOne) {
    ChangeRouter router;
    RecordingListener victim;
    RecordingListener killer([&](std::uint64_t) { router.Remove(&victim); });
    router.Add(&victim, Groups({"b"}));
    router.Add(&killer, Groups({"a"}));
    const auto both = router.Queue(ChangeOf(2, {"b"}));
    Tell(router, 1, {"a"});
    ChangeRouter::Deliver(both);
    EXPECT_EQ(victim.calls, Calls{});
}

TEST(ChangeRouterTest, OneThatThrowsLosesNothingForAnyone) {
    ChangeRouter router;
    RecordingListener before;
    RecordingListener after;
    RecordingListener thrower([](std::uint64_t revision) {
        if (revision == 1) {
            throw std::runtime_error("first");
        }
    });
    for (RecordingListener* listener : {&before, &thrower, &after}) {
        router.Add(listener, Groups({"a"}));
    }
    const auto first = router.Queue(ChangeOf(1, {"a"}));
    const auto second = router.Queue(ChangeOf(2, {"a"}));
    try {
        ChangeRouter::Deliver(first);
        ADD_FAILURE() << "the exception was lost";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "first");
    }
    ChangeRouter::Deliver(second);
    for (RecordingListener* listener : {&before, &thrower, &after}) {
        EXPECT_EQ(listener->Revisions(), (std::vector<std::uint64_t>{1, 2}));
    }
}

}  // namespace
}  // namespace zumra::settings::common
