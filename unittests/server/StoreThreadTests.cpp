#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "server/StoreDoubles.h"
#include "settings/common/ChangeRouter.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupMap;
using common::GroupNameMatcher;

constexpr int kWriters = 3;
constexpr int kReaders = 2;
constexpr int kComersAndGoers = 3;
constexpr int kCommitsOfEach = 2000;

std::string GroupOf(int writer) {
    return "g" + std::to_string(writer);
}

/// Each writer counts in a group of its own: both values are always equal, and one commit raises them by one.
core::IniFile Counted(int writer, int count) {
    core::IniFile document;
    document[GroupOf(writer)]["one"] = document[GroupOf(writer)]["two"] = std::to_string(count);
    return document;
}

int CountIn(const common::SharedGroup& group) {
    return group ? std::stoi(group->at("one")) : 0;
}

/// Follows the groups of all writers from a state on, and looks for anything told late, twice or not at all.
class Follower : public common::IChangeListener {
public:
    /// The state from which it follows.
    void Begin(std::uint64_t revision, const GroupMap& groups) {
        _last = revision;
        for (const auto& [name, group] : groups) {
            _counts[name] = CountIn(group);
        }
        _begun = true;
    }

    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override {
        if (_inCall.exchange(true) || gone) {
            failed = true;
        }
        while (!_begun) {
            std::this_thread::yield();  // the one who subscribes is about to know the state
        }
        if (change->revision <= _last || covered.size() != 1) {
            failed = true;
        }
        _last = change->revision;
        const common::SharedGroup& group = change->groups.at(*covered[0]);
        if (CountIn(group) != ++_counts[*covered[0]] || group->at("one") != group->at("two")) {
            failed = true;
        }
        _inCall = false;
    }

    [[nodiscard]] int Count(int writer) { return _counts[GroupOf(writer)]; }

    std::atomic<bool> failed{false};
    std::atomic<bool> gone{false};

private:
    std::atomic<bool> _begun{false};
    std::atomic<bool> _inCall{false};
    std::uint64_t _last = 0;
    std::map<std::string, int> _counts;
};

class StoreThreadTest : public ::testing::TestWithParam<bool> {
protected:
    StoreThreadTest() : store(GetParam() ? &storage : nullptr, nullptr, nullptr, true) {}

    void Write(int writer) {
        start.arrive_and_wait();
        for (int i = 1; i <= kCommitsOfEach; ++i) {
            store.MergeSettings(Counted(writer, i));
        }
        --writing;
    }

    void Read() {
        start.arrive_and_wait();
        std::vector<int> last(kWriters);
        while (writing != 0) {
            const GroupMap groups = store.Read(GroupNameMatcher("*"));
            for (int writer = 0; writer < kWriters; ++writer) {
                const auto at = groups.find(GroupOf(writer));
                const int count = at == groups.end() ? 0 : CountIn(at->second);
                if (count < last[writer] ||
                    (at != groups.end() && at->second->at("one") != at->second->at("two"))) {
                    failed = true;
                }
                last[writer] = count;
            }
        }
    }

    void ComeAndGo() {
        start.arrive_and_wait();
        while (writing != 0) {
            auto follower = std::make_unique<Follower>();
            GroupMap current;
            const std::uint64_t revision = store.Subscribe(follower.get(), GroupNameMatcher("*"), &current);
            follower->Begin(revision, current);
            std::this_thread::yield();
            store.UnSubscribe(follower.get());
            follower->gone = true;
            if (follower->failed) {
                failed = true;
            }
        }
    }

    testing::MemoryStorage storage;
    SettingsManager store;
    std::latch start{kWriters + kReaders + kComersAndGoers};
    std::atomic<int> writing{kWriters};
    std::atomic<bool> failed{false};
};

TEST_P(StoreThreadTest, EveryoneIsToldEverythingInOrderAndOnce) {
    Follower constant;
    constant.Begin(0, {});
    store.Subscribe(&constant, GroupNameMatcher("g*"));
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back([this, writer] { Write(writer); });
    }
    for (int i = 0; i < kReaders; ++i) {
        threads.emplace_back([this] { Read(); });
    }
    for (int i = 0; i < kComersAndGoers; ++i) {
        threads.emplace_back([this] { ComeAndGo(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(failed);
    EXPECT_FALSE(constant.failed);
    for (int writer = 0; writer < kWriters; ++writer) {
        EXPECT_EQ(constant.Count(writer), kCommitsOfEach);
    }
    EXPECT_EQ(store.Revision(), std::uint64_t{kWriters} * kCommitsOfEach);
    store.Flush();
    if (GetParam()) {
        EXPECT_EQ(storage.settings.GetValue(GroupOf(0), "two"), std::to_string(kCommitsOfEach));
    }
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutPersister, StoreThreadTest, ::testing::Bool());

TEST(StoreThreadsTest, TestAndMergeCountsEveryStepOnce) {
    constexpr int kThreads = 4;
    constexpr int kSteps = 200;
    SettingsManager store;
    const auto count = [&store](bool exactly) {
        for (int step = 0; step < kSteps;) {
            core::IniFile present;
            const GroupNameMatcher groups("counter");
            store.GetSettings(groups, present);
            core::IniFile next;
            const std::string value = present.GetValue("counter", "n");
            next["counter"]["n"] = std::to_string(value.empty() ? 1 : std::stoi(value) + 1);
            // The first step can only be made exactly: there is no value to expect.
            const bool merged = exactly || value.empty()
                                    ? store.TestExactlyAndMerge(groups, present, next).merged
                                    : store.TestAndMerge(present, next).merged;
            step += merged ? 1 : 0;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(count, i % 2 == 0);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(store.GetValue("counter", "n"), std::to_string(kThreads * kSteps));
    EXPECT_EQ(store.Revision(), std::uint64_t{kThreads} * kSteps);
}

TEST(StoreThreadsTest, ReadOfSeveralGroupsIsOneState) {
    SettingsManager store;
    std::atomic<bool> stop{false};
    std::atomic<bool> failed{false};
    std::thread reader([&] {
        while (!stop) {
            core::IniFile all;
            store.GetSettings(GroupNameMatcher("*"), all);
            const bool isWhole = all.empty() || (all.HasGroup("a") && all.HasGroup("z"));
            failed = failed || !isWhole || all.GetValue("a", "n") != all.GetValue("z", "n");
        }
    });
    for (int i = 0; i < 3000; ++i) {
        if (i % 3 == 2) {
            store.EraseGroups(GroupNameMatcher("*"));
            continue;
        }
        core::IniFile both;
        both["a"]["n"] = both["z"]["n"] = std::to_string(i);
        store.MergeSettings(both);
    }
    stop = true;
    reader.join();
    EXPECT_FALSE(failed);
}

TEST(StoreThreadsTest, SingleValuesSetInPlaceAreReadWhole) {
    SettingsManager store;
    const std::string texts[] = {std::string(2000, 'a'), std::string(10, 'b'), std::string(3000, 'c')};
    store.SetValue("g", "x", texts[0]);
    std::atomic<bool> stop{false};
    std::atomic<bool> failed{false};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&, i] {
            while (!stop) {
                const std::string value =
                    i == 0 ? store.Read(GroupNameMatcher("g")).at("g")->at("x") : *store.GetValue("g", "x");
                failed = failed || (value != texts[0] && value != texts[1] && value != texts[2]);
            }
        });
    }
    for (int i = 0; i < 2000; ++i) {
        store.SetValue("g", "x", texts[i % 3]);
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_FALSE(failed);
}

}  // namespace
}  // namespace zumra::settings::server
