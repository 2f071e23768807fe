#include <gtest/gtest.h>

#include <atomic>
#include <exception>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "server/SaveHelpers.h"
#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::BlockingStorage;
using testing::Deferred;
using testing::Document;
using testing::ErrorOf;
using testing::kNever;
using testing::MemoryStorage;

TEST(SaveWaitTest, DeferredCommitsAreSavedTogether) {
    MemoryStorage storage;
    {
        SettingsManager store(&storage, nullptr, nullptr, Deferred(kNever));
        for (int i = 0; i <= 20000; ++i) {  // long enough that a saver which does not wait would have saved
            store.SetValue("a", "x", std::to_string(i));
            std::this_thread::yield();
        }
        store.Flush();
        EXPECT_EQ(storage.saves, 1);
        EXPECT_EQ(storage.settings, Document("[a]\nx=20000\n"));
        store.Flush();
        EXPECT_EQ(storage.saves, 1) << "nothing more to save";
        store.SetValue("a", "x", "end");
    }
    EXPECT_EQ(storage.saves, 2) << "by the end of the store";
    EXPECT_EQ(storage.settings, Document("[a]\nx=end\n"));
}

TEST(SaveWaitTest, DeferredCommitIsSavedByItself) {
    BlockingStorage storage;
    storage.Open();
    SettingsManager store(&storage, nullptr, nullptr, true);
    store.SetValue("a", "x", "1");
    storage.AwaitSaves(1);
    EXPECT_EQ(storage.Saved(), Document("[a]\nx=1\n"));
}

TEST(SaveWaitTest, TestAndMergeIsSavedAlsoWhenSavesAreDeferred) {
    MemoryStorage storage;
    SettingsManager store(&storage, nullptr, nullptr, Deferred(kNever));
    store.SetValue("a", "x", "1");
    EXPECT_EQ(storage.saves, 0);
    EXPECT_FALSE(store.TestAndMerge(Document("[a]\nx=2\n"), Document("[a]\nx=3\n")).merged);
    EXPECT_EQ(storage.saves, 0) << "refused: nothing to save";
    EXPECT_TRUE(store.TestAndMerge(Document("[a]\nx=1\n"), Document("[a]\nx=1\n")).merged);
    EXPECT_EQ(storage.saves, 1) << "what it found must be saved, too, before it says so";
    EXPECT_TRUE(
        store.TestExactlyAndMerge(GroupNameMatcher("*"), Document("[a]\nx=1\n"), Document("[a]\nx=5\n"))
            .merged);
    EXPECT_EQ(storage.settings, Document("[a]\nx=5\n"));
    EXPECT_TRUE(
        store.TestExactlyAndOverwrite(GroupNameMatcher("*"), Document("[a]\nx=5\n"), Document("[b]\nx=6\n"))
            .merged);
    EXPECT_EQ(storage.settings, Document("[b]\nx=6\n"));
}

TEST(SaveWaitTest, WhenSavedIsToldAtOnceWithoutAPersister) {
    SettingsManager store;
    std::vector<std::string> told;
    store.SetValue("a", "x", "1");
    store.WhenSaved(1, [&](const std::exception_ptr& error) { told.push_back(ErrorOf(error)); });
    EXPECT_EQ(told, std::vector<std::string>{"none"});
    store.Flush();
}

TEST(SaveWaitTest, WhenSavedSavesByItselfUnlessDeferred) {
    MemoryStorage storage;
    SettingsManager store(&storage);
    std::vector<std::string> told;
    const auto tell = [&](const std::exception_ptr& error) { told.push_back(ErrorOf(error)); };
    const auto merge = [&](const char* document) {
        return store.TestAndMerge({}, Document(document), nullptr, Durability::kDontWait).revision;
    };
    const std::uint64_t revision = merge("[a]\nx=1\n");
    EXPECT_EQ(storage.saves, 0);
    store.WhenSaved(revision, tell);
    EXPECT_EQ(storage.saves, 1);
    store.WhenSaved(revision, tell);
    EXPECT_EQ(storage.saves, 1);
    storage.failure = "full";
    store.WhenSaved(merge("[a]\nx=2\n"), tell);
    storage.failure.clear();
    store.WhenSaved(revision + 1000, tell);
    EXPECT_EQ(storage.settings, Document("[a]\nx=2\n"));
    EXPECT_EQ(told, (std::vector<std::string>{"none", "none", "full", "none"}));
}

TEST(SaveWaitTest, WhenSavedNeverBlocksWhenDeferred) {
    BlockingStorage storage;
    std::promise<std::string> told;
    std::vector<std::string> order;
    std::thread::id teller;
    SettingsManager store(&storage, nullptr, nullptr, Deferred(kNever));
    store.SetValue("a", "x", "1");
    store.WhenSaved(1, [&](const std::exception_ptr& error) {
        teller = std::this_thread::get_id();
        told.set_value(ErrorOf(error));
    });
    storage.AwaitEntered(1);  // the delay does not count, and nothing here waits for the save
    EXPECT_EQ(store.GetValue("a", "x"), "1");
    store.SetValue("a", "x", "2");
    storage.Open();
    EXPECT_EQ(told.get_future().get(), "none");
    EXPECT_NE(teller, std::this_thread::get_id());
    std::promise<std::string> failed;
    storage.Fail("full");
    store.WhenSaved(2, [&](const std::exception_ptr& error) { failed.set_value(ErrorOf(error)); });
    EXPECT_EQ(failed.get_future().get(), "full");
    storage.Fail("");
}

TEST(SaveWaitTest, WhoWaitsIsNotToldOfASaveThatBeganTooEarly) {
    BlockingStorage storage;
    SettingsManager store(&storage, nullptr, nullptr, Deferred(kNever));
    store.SetValue("a", "x", "1");
    std::promise<void> first;
    std::promise<core::IniFile> second;
    store.WhenSaved(1, [&](const std::exception_ptr&) { first.set_value(); });
    storage.AwaitEntered(1);
    store.SetValue("a", "x", "2");
    store.WhenSaved(2, [&](const std::exception_ptr&) { second.set_value(storage.Saved()); });
    storage.Open();
    first.get_future().wait();
    EXPECT_EQ(second.get_future().get(), Document("[a]\nx=2\n"));
}

TEST(SaveWaitTest, ReadersAndDeferredWritersDoNotWaitForASave) {
    BlockingStorage storage;
    SettingsManager store(&storage, nullptr, nullptr, true);
    store.SetValue("a", "x", "1");
    storage.AwaitEntered(1);
    for (int i = 2; i < 100; ++i) {
        store.SetValue("a", "x", std::to_string(i));
        EXPECT_EQ(store.GetValue("a", "x"), std::to_string(i));
        EXPECT_EQ(store.Read(GroupNameMatcher("*")).at("a")->at("x"), std::to_string(i));
    }
    EXPECT_EQ(storage.Entered(), 1);
    storage.Open();
    store.Flush();
    EXPECT_EQ(storage.Saved(), Document("[a]\nx=99\n"));
}

TEST(SaveWaitTest, ReadersDoNotWaitForTheSaveOfAWriterThatDoes) {
    BlockingStorage storage;
    SettingsManager store(&storage);
    std::thread writer([&] { store.SetValue("a", "x", "1"); });
    storage.AwaitEntered(1);
    EXPECT_EQ(store.GetValue("a", "x"), "1");
    storage.Open();
    writer.join();
}

TEST(SaveWaitTest, SavesOfSeveralThreadsBecomeOne) {
    constexpr std::uint64_t kWriters = 6;
    BlockingStorage storage;
    SettingsManager store(&storage);
    std::vector<std::thread> writers;
    writers.emplace_back([&] { store.SetValue("g0", "x", "1"); });
    storage.AwaitEntered(1);
    for (std::uint64_t i = 1; i <= kWriters; ++i) {
        writers.emplace_back([&, i] {
            store.SetValue("g" + std::to_string(i), "x", "1");
            EXPECT_GE(store.Statistics().savedRevision, 2U);
        });
    }
    while (store.Revision() < kWriters + 1) {
        std::this_thread::yield();
    }
    storage.Open();
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(storage.Entered(), 2) << "one for the first, one for all the others";
    EXPECT_EQ(storage.Saved().size(), kWriters + 1);
}

TEST(SaveWaitTest, OthersWhoseCommitAFailedSaveCoveredAreToldToo) {
    BlockingStorage storage;
    SettingsManager store(&storage);
    std::vector<std::thread> writers;
    std::atomic<int> failures{0};
    const auto write = [&](const std::string& group) {
        try {
            store.SetValue(group, "x", "1");
        } catch (const osa::Exception& error) {
            EXPECT_STREQ(error.what(), "full");
            ++failures;
        }
    };
    writers.emplace_back(write, "g0");
    storage.AwaitEntered(1);
    for (int i = 1; i <= 3; ++i) {
        writers.emplace_back(write, "g" + std::to_string(i));
    }
    while (store.Revision() < 4) {
        std::this_thread::yield();
    }
    storage.Fail("full");
    storage.Open();
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(failures, 4);
    storage.Fail("");
    store.Flush();
    EXPECT_EQ(storage.Saved().size(), 4U);
}

}  // namespace
}  // namespace zumra::settings::server
