#include <gtest/gtest.h>

#include <array>
#include <future>
#include <memory>
#include <string>

#include "client/ConcurrentChanges.h"
#include "settings/client/InProcessServer.h"
#include "zumra/settings/IniWatcher.h"
#include "zumra/settings/SettingsWatcher.h"

namespace zumra::settings {
namespace {

using std::chrono::milliseconds;

using WatcherConcurrencyTests = ConcurrentChanges;

ZUMRA_INSTANTIATE_IN_EVERY_MODE(WatcherConcurrencyTests);

TEST_P(WatcherConcurrencyTests, ADocumentFollowsAStreamOfRandomChanges) {
    core::IniFile document;
    IniWatcher watcher(&_client, &document);
    watcher.AddPattern("*");
    watcher.Update();
    Start([this] { ChangeAtRandom(1); });
    Start([this] { ChangeAtRandom(2); });
    for (int i = 0; Running(); ++i) {
        if (watcher.WaitForChange(milliseconds(1))) {
            ASSERT_TRUE(i % 2 == 0 ? watcher.Update() : watcher.TryUpdate());
        }
        ASSERT_EQ(document.GetValue("pair/1", "x"), document.GetValue("pair/2", "x")) << "half of a change";
    }
    JoinAll();
    watcher.Update();
    EXPECT_EQ(document, All());
    EXPECT_FALSE(watcher.Update());
}

TEST_P(WatcherConcurrencyTests, VariablesFollowAStreamOfRandomChanges) {
    int first = 0;
    int second = 0;
    std::string text;
    SettingsWatcher watcher(&_client);
    watcher.AddSetting("pair/1", "x", &first);
    watcher.AddSetting("pair/2", "x", &second);
    watcher.AddSetting("random/1", "x", &text, "none");
    watcher.UpdateSettings();
    Start([this] { ChangeAtRandom(3); });
    Start([this] { ChangeAtRandom(4); });
    for (int i = 0; Running(); ++i) {
        if (watcher.WaitForChange(milliseconds(1))) {
            static_cast<void>(i % 2 == 0 ? watcher.UpdateSettings() : watcher.TryUpdateSettings());
        }
        ASSERT_EQ(first, second) << "half of a change";
    }
    JoinAll();
    watcher.UpdateSettings();
    const core::IniFile all = All();
    EXPECT_EQ(std::to_string(first), all.GetValue("pair/1", "x"));
    const std::string* stored = all.FindValue("random/1", "x");
    EXPECT_EQ(text, stored == nullptr ? "none" : *stored);
    EXPECT_FALSE(watcher.UpdateSettings());
}

TEST_P(WatcherConcurrencyTests, OwnChangesHaveArrivedWhenTheCallReturns) {
    for (int number = 0; number < 4; ++number) {
        Start([this, number] {
            const std::string group = "own/" + std::to_string(number);
            core::IniFile document;
            IniWatcher watcher(&_client, &document);
            watcher.AddPattern("*");
            watcher.Update();
            for (int i = 0; i < 10 * kRounds; ++i) {  // what goes wrong here does so seldom
                const std::string value = std::to_string(i);
                _client.SetValue("[" + group + "]x", value);
                const bool changed = i % 2 == 0 ? watcher.Update() : watcher.TryUpdate();
                ASSERT_TRUE(changed) << i;
                ASSERT_EQ(document.GetValue(group, "x"), value);
            }
        });
    }
}

TEST_P(WatcherConcurrencyTests, ChangesOfOtherThreadsAreThereOnceTheirCallsReturned) {
    core::IniFile document;
    IniWatcher watcher(&_client, &document);
    watcher.AddPattern("own/*");
    watcher.Update();
    for (int round = 0; round < kRounds / 5; ++round) {
        const std::string value = std::to_string(round);
        for (int number = 0; number < 3; ++number) {
            const std::string locator = "[own/" + std::to_string(number) + "]x";
            Start([this, locator, value] { _client.SetValue(locator, value); });
        }
        JoinAll();
        ASSERT_TRUE(watcher.TryUpdate());
        ASSERT_EQ(document, All());
    }
}

TEST_P(WatcherConcurrencyTests, WatchersComeAndGoWhileChangesArrive) {
    Start([this] { ChangeAtRandom(5); });
    Start([this] { ChangeAtRandom(6); });
    do {
        core::IniFile document;
        IniWatcher watcher(&_client, &document);
        watcher.AddPattern("random/*");
        std::string text;
        auto variables = std::make_unique<SettingsWatcher>(&_client);
        variables->AddSetting("pair/1", "x", &text);
        ASSERT_TRUE(watcher.Update());
        ASSERT_TRUE(variables->UpdateSettings());
        watcher.AddPattern("pair/*");
        variables.reset();
        ASSERT_TRUE(watcher.TryUpdate());
        ASSERT_EQ(document.GetValue("pair/1", "x"), document.GetValue("pair/2", "x"));
    } while (Running());
}

TEST_P(WatcherConcurrencyTests, OneWatcherMayBeUsedByManyThreads) {
    core::IniFile document;
    IniWatcher watcher(&_client, &document);
    core::IniFile large;
    for (int i = 0; i < 300; ++i) {
        large["pair/large"][std::to_string(i)] = "";
    }
    _client.MergeSettings(large);  // takes time to apply, so that updates meet
    std::atomic<bool> changing{true};
    Start([&] {
        ChangeAtRandom(7);
        for (int i = 0; i < kRounds; ++i) {
            _client.SetValue("[pair/large]x", std::to_string(i));
        }
        changing = false;
    });
    Start([&] {
        for (int i = 0; i < 5; ++i) {
            watcher.AddPattern("random/" + std::to_string(i));
        }
        watcher.AddPattern("pair/*");
    });
    for (int thread = 0; thread < 2; ++thread) {
        Start([&] {
            while (changing) {
                watcher.Update();
            }
        });
    }
    JoinAll();
    watcher.Update();
    EXPECT_EQ(document, All());
}

TEST_P(WatcherConcurrencyTests, AChangeEndsTheWaitOfAnotherThread) {
    core::IniFile document;
    IniWatcher documents(&_client, &document);
    documents.AddPattern("a");
    documents.Update();
    int number = 0;
    SettingsWatcher variables(&_client);
    variables.AddSetting("a", "x", &number);
    variables.UpdateSettings();
    auto first = std::async(std::launch::async, [&] { return documents.WaitForChange(kLongEnough); });
    auto second = std::async(std::launch::async, [&] {
        pollfd entry{variables.FileDescriptor(), POLLIN, 0};
        return ::poll(&entry, 1, static_cast<int>(kLongEnough.count()));
    });
    _client.SetValue("[a]x", "1");
    EXPECT_TRUE(first.get());
    EXPECT_EQ(second.get(), 1);
    EXPECT_TRUE(documents.TryUpdate());
    EXPECT_TRUE(variables.TryUpdateSettings());
    EXPECT_EQ(number, 1);
}

TEST_P(WatcherConcurrencyTests, AnEventLoopMissesNoChangeAndNeedsNoTimer) {
    const client::InProcessServer server;
    ZumraSettingsClient reader(server.Connect(GetParam()));
    core::IniFile document;
    IniWatcher documents(&reader, &document);
    documents.AddPattern("own/*");
    documents.Update();
    std::array<int, 2> numbers{};
    SettingsWatcher variables(&reader);
    variables.AddSetting("own/0", "x", &numbers[0]);
    variables.AddSetting("own/1", "x", &numbers[1]);
    variables.UpdateSettings();
    for (int writer = 0; writer < 2; ++writer) {
        Start([&reader, &server, writer, mode = GetParam()] {
            // A single-threaded pipe tells of another client's changes only within calls.
            const bool own = writer == 0 || mode == ZumraSettingsClient::kLocalSingleThreadedPipe;
            ZumraSettingsClient other(server.Connect(mode));
            for (int i = 1; i <= kRounds; ++i) {
                (own ? reader : other).SetValue("[own/" + std::to_string(writer) + "]x", std::to_string(i));
            }
        });
    }
    const std::string last = std::to_string(kRounds);
    const auto isLast = [&] {
        return numbers[0] == kRounds && numbers[1] == kRounds && document.GetValue("own/0", "x") == last &&
               document.GetValue("own/1", "x") == last;
    };
    while (!isLast()) {
        std::array<pollfd, 2> entries = {
            {{documents.FileDescriptor(), POLLIN, 0}, {variables.FileDescriptor(), POLLIN, 0}}};
        ASSERT_GT(::poll(entries.data(), entries.size(), static_cast<int>(kLongEnough.count())), 0);
        if (entries[0].revents != 0) {
            ASSERT_TRUE(documents.TryUpdate());
        }
        if (entries[1].revents != 0) {
            variables.TryUpdateSettings();
        }
    }
    JoinAll();
    EXPECT_FALSE(documents.Update());
    EXPECT_FALSE(variables.UpdateSettings());
}

}  // namespace
}  // namespace zumra::settings
