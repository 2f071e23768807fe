#include "settings/client/AtomicUpdate.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "client/FakeBackend.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

using Matcher = IBackend::Matcher;

core::IniFile OneValue(const std::string& group, const std::string& value) {
    core::IniFile document;
    document[group]["value"] = value;
    return document;
}

class AtomicUpdateTests : public testing::Test {
protected:
    /// Lets `change` overtake the next `times` writes.
    void Overtake(int times, std::function<void()> change) {
        _backend.onCall = [this, times, change](const std::string& operation) mutable {
            if (operation == "TestExactlyAndMerge" && times > 0) {
                --times;
                ++_overtaken;
                change();
            }
        };
    }

    bool Run(const Decision& decide) { return AtomicUpdate(_backend, Matcher("group*"), decide, "count"); }

    FakeBackend _backend;
    int _overtaken = 0;
};

TEST_F(AtomicUpdateTests, WritesWhatWasDecidedFromWhatWasRead) {
    _backend.Merge(OneValue("group1", "1"));
    _backend.Merge(OneValue("other", "1"));
    EXPECT_TRUE(Run([](const core::IniFile& current) {
        EXPECT_EQ(current, OneValue("group1", "1"));
        return OneValue("group2", "2");
    }));
    EXPECT_EQ(_backend.GetValue({"group1", "value"}), "1");
    EXPECT_EQ(_backend.GetValue({"group2", "value"}), "2");
}

TEST_F(AtomicUpdateTests, WritesNothingWhenRefused) {
    _backend.onCall = [](const std::string& operation) { EXPECT_EQ(operation, "Get"); };
    EXPECT_FALSE(Run([](const core::IniFile&) { return std::nullopt; }));
}

TEST_F(AtomicUpdateTests, DecidesAgainWhenAValueChangedMeanwhile) {
    _backend.Merge(OneValue("group1", "1"));
    Overtake(1, [this] { _backend.Merge(OneValue("group1", "5")); });
    std::vector<std::string> seen;
    EXPECT_TRUE(Run([&seen](const core::IniFile& current) {
        seen.push_back(current.GetValue("group1", "value"));
        return OneValue("group2", seen.back());
    }));
    EXPECT_EQ(seen, (std::vector<std::string>{"1", "5"}));
    EXPECT_EQ(_backend.GetValue({"group2", "value"}), "5");
}

TEST_F(AtomicUpdateTests, DecidesAgainWhenAGroupAppearedOrWentMeanwhile) {
    _backend.Merge(OneValue("group1", "1"));
    Overtake(2, [this] {
        if (_overtaken == 1) {
            _backend.Merge(OneValue("group9", "1"));
        } else {
            _backend.Erase(Matcher("group1"));
        }
    });
    std::vector<std::size_t> seen;
    EXPECT_TRUE(Run([&seen](const core::IniFile& current) {
        seen.push_back(current.size());
        return OneValue("group2", "2");
    }));
    EXPECT_EQ(seen, (std::vector<std::size_t>{1, 2, 1}));
}

TEST_F(AtomicUpdateTests, MayBeRefusedAtTheSecondLook) {
    Overtake(1, [this] { _backend.Merge(OneValue("group1", "taken")); });
    EXPECT_FALSE(Run([](const core::IniFile& current) {
        return current.empty() ? std::optional(OneValue("group2", "2")) : std::nullopt;
    }));
    EXPECT_EQ(_backend.GetValue({"group2", "value"}), std::nullopt);
}

TEST_F(AtomicUpdateTests, IsNotDisturbedByOtherGroups) {
    Overtake(1, [this] { _backend.Merge(OneValue("other", "1")); });
    int decisions = 0;
    EXPECT_TRUE(Run([&decisions](const core::IniFile&) {
        ++decisions;
        return OneValue("group2", "2");
    }));
    EXPECT_EQ(_overtaken, 1);
    EXPECT_EQ(decisions, 1);
}

TEST_F(AtomicUpdateTests, GivesUpWithATextAfterManyAttempts) {
    Overtake(1000, [this] { _backend.Merge(OneValue("group1", std::to_string(_overtaken))); });
    try {
        Run([](const core::IniFile&) { return OneValue("group2", "2"); });
        FAIL() << "did not give up";
    } catch (const osa::Exception& error) {
        EXPECT_STREQ(error.what(), "Failed to count: the settings changed during each of 100 attempts");
    }
    EXPECT_EQ(_overtaken, 100);
    EXPECT_EQ(_backend.GetValue({"group2", "value"}), std::nullopt);
}

TEST_F(AtomicUpdateTests, SucceedsAtTheLastAttempt) {
    Overtake(99, [this] { _backend.Merge(OneValue("group1", std::to_string(_overtaken))); });
    EXPECT_TRUE(Run([](const core::IniFile&) { return OneValue("group2", "2"); }));
    EXPECT_EQ(_overtaken, 99);
}

TEST_F(AtomicUpdateTests, LetsEveryExceptionOut) {
    for (const std::string failing : {"Get", "TestExactlyAndMerge"}) {
        _backend.onCall = [failing](const std::string& operation) {
            if (operation == failing) {
                throw osa::Exception("no server");
            }
        };
        EXPECT_THROW(Run([](const core::IniFile&) { return OneValue("group2", "2"); }), osa::Exception);
    }
    _backend.onCall = nullptr;
    EXPECT_THROW(Run([](const core::IniFile&) -> std::optional<core::IniFile> { throw 1; }), int);
    EXPECT_TRUE(_backend.Store().empty());
}

TEST_F(AtomicUpdateTests, LosesNothingAmongManyWriters) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 300;
    const auto addOne = [](const core::IniFile& current) {
        const std::string text = current.GetValue("group1", "value");
        std::this_thread::yield();  // time for another to write meanwhile
        return OneValue("group1", std::to_string(text.empty() ? 1 : std::stoi(text) + 1));
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                EXPECT_TRUE(Run(addOne));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(_backend.GetValue({"group1", "value"}), std::to_string(kThreads * kRounds));
}

}  // namespace
}  // namespace zumra::settings::client
