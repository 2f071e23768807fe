#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "server/SaveHelpers.h"
#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Deferred;
using testing::Document;
using testing::ErrorOf;
using testing::FlushError;
using testing::kNever;
using testing::MemoryStorage;

/// A storage that fails in its n-th call.
class FailingStorage : public MemoryStorage {
public:
    void LoadDefaults(SettingsCombiner& combiner) override {
        Call();
        MemoryStorage::LoadDefaults(combiner);
    }
    void LoadSettings(SettingsCombiner& combiner) override {
        Call();
        MemoryStorage::LoadSettings(combiner);
    }
    void SaveSettings(const core::IniFile& document) override {
        Call();
        MemoryStorage::SaveSettings(document);
    }

    int failAt = 0;
    int calls = 0;

private:
    void Call() {
        if (++calls == failAt) {
            throw std::runtime_error("no room");
        }
    }
};

using Operation = void (*)(SettingsManager&);

const std::vector<Operation>& Operations() {
    static const std::vector<Operation> operations = {
        [](SettingsManager& store) { store.MergeSettings(Document("[a]\nx=1\n[b]\nx=1\n")); },
        [](SettingsManager& store) { store.SetValue("a", "x", "2"); },
        [](SettingsManager& store) { store.SetValue("d", "x", "2"); },
        [](SettingsManager& store) { store.EraseValue("d", "y"); },
        [](SettingsManager& store) { store.EraseGroups(GroupNameMatcher("e")); },
        [](SettingsManager& store) {
            store.OverwriteSettings(GroupNameMatcher("b"), Document("[c]\nx=3\n"));
        },
        [](SettingsManager& store) { store.TestAndMerge(Document("[a]\nx=2\n"), Document("[a]\nx=5\n")); },
        [](SettingsManager& store) { store.RestoreToDefaults(GroupNameMatcher("d")); },
        [](SettingsManager& store) { store.EraseGroups(GroupNameMatcher("c")); },
    };
    return operations;
}

const char* const kDefaults = "[d]\nx=1\ny=1\n[e]\nx=1\n";
const char* const kOutcome = "[a]\nx=5\n[ZumraSettings/Removed]\ne=\n";

/// Every call but one succeeds: the operation that needed it throws, its change stands in memory, the
/// document saved before stays, and the next save brings everything.
int RunWithFailureAt(int n) {
    FailingStorage storage;
    storage.defaults = Document(kDefaults);
    storage.failAt = n;
    int failures = 0;
    std::unique_ptr<SettingsManager> store;
    while (store == nullptr && failures < 2) {
        try {
            store = std::make_unique<SettingsManager>(&storage);
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "no room");
            ++failures;
        }
    }
    for (const Operation operation : Operations()) {
        const core::IniFile saved = storage.settings;
        const std::uint64_t revision = store->Revision();
        try {
            operation(*store);
            EXPECT_EQ(store->Statistics().savedRevision, revision + 1);
        } catch (const osa::Exception& error) {
            EXPECT_STREQ(error.what(), "no room");
            EXPECT_EQ(storage.settings, saved);
            EXPECT_LE(store->Statistics().savedRevision, revision);
            ++failures;
        }
        EXPECT_EQ(store->Revision(), revision + 1) << "the commit stands";
    }
    store.reset();
    EXPECT_EQ(storage.settings, Document(kOutcome)) << "failure at " << n;
    return failures;
}

TEST(FailedSaveTest, FailureOfAnyCallIsToldAndMadeUpFor) {
    const int calls = 2 + static_cast<int>(Operations().size());
    for (int n = 1; n <= calls; ++n) {
        EXPECT_EQ(RunWithFailureAt(n), 1) << n;
    }
    EXPECT_EQ(RunWithFailureAt(calls + 1), 0) << "there are no more calls than that";
}

TEST(FailedSaveTest, FailureOfAnyDeferredSaveIsToldToWhoFlushes) {
    for (int n = 3; n <= 2 + static_cast<int>(Operations().size()); ++n) {
        FailingStorage storage;
        storage.defaults = Document(kDefaults);
        storage.failAt = n;
        int failures = 0;
        {
            SettingsManager store(&storage, nullptr, nullptr, Deferred(kNever));
            for (const Operation operation : Operations()) {
                try {
                    operation(store);
                    store.Flush();
                } catch (const osa::Exception& error) {
                    EXPECT_STREQ(error.what(), "no room");
                    ++failures;
                }
            }
        }
        EXPECT_EQ(failures, 1) << n;
        EXPECT_EQ(storage.settings, Document(kOutcome)) << "failure at " << n;
    }
}

/// A storage that throws what is no exception.
class OddStorage : public MemoryStorage {
public:
    void SaveSettings(const core::IniFile& document) override {
        if (fails) {
            throw 7;
        }
        MemoryStorage::SaveSettings(document);
    }
    bool fails = true;
};

TEST(FailedSaveTest, WhatIsThrownNeedsNotBeAnException) {
    OddStorage storage;
    SettingsManager store(&storage, nullptr, nullptr, Deferred(kNever));
    store.SetValue("a", "x", "1");
    EXPECT_EQ(FlushError(store), "unknown error");
    storage.fails = false;
    EXPECT_EQ(FlushError(store), "none");
    EXPECT_EQ(storage.settings, Document("[a]\nx=1\n"));
}

TEST(FailedSaveTest, EveryFlushTriesAgainWhileNothingCanBeSaved) {
    MemoryStorage storage;
    storage.failure = "disk full";
    std::vector<std::string> outcomes;
    {
        SaveOptions options = Deferred(kNever);
        options.retryAfter = options.retryAfterAtMost = kNever;
        options.outcome = [&](const std::exception_ptr& error) { outcomes.push_back(ErrorOf(error)); };
        SettingsManager store(&storage, nullptr, nullptr, options);
        store.SetValue("a", "x", "1");
        EXPECT_EQ(FlushError(store), "disk full");
        EXPECT_EQ(FlushError(store), "disk full");
        EXPECT_EQ(store.GetValue("a", "x"), "1") << "it goes on in memory";
        store.SetValue("a", "y", "2");
        EXPECT_THROW(store.TestAndMerge(Document("[a]\nx=1\n"), Document("[a]\nx=3\n")), osa::Exception);
        EXPECT_EQ(store.GetValue("a", "x"), "3");
        storage.failure.clear();
        EXPECT_EQ(FlushError(store), "none");
        EXPECT_EQ(storage.settings, Document("[a]\nx=3\ny=2\n"));
        store.SetValue("a", "x", "4");
    }
    EXPECT_EQ(storage.settings, Document("[a]\nx=4\ny=2\n"));
    EXPECT_EQ(outcomes, (std::vector<std::string>{"disk full", "disk full", "disk full", "none"}));
}

TEST(FailedSaveTest, LastFailureIsReportedByTheEndOfTheStore) {
    for (const bool deferred : {false, true}) {
        MemoryStorage storage;
        std::vector<std::string> outcomes;
        SaveOptions options = Deferred(kNever);
        options.deferred = deferred;
        options.outcome = [&](const std::exception_ptr& error) { outcomes.push_back(ErrorOf(error)); };
        {
            SettingsManager store(&storage, nullptr, nullptr, options);
            storage.failure = "gone";
            store.TestAndMerge({}, Document("[a]\nx=1\n"), nullptr, Durability::kDontWait);
            EXPECT_TRUE(outcomes.empty());
        }
        EXPECT_EQ(outcomes, std::vector<std::string>{"gone"}) << deferred;
    }
}

TEST(FailedSaveTest, SaverTriesAgainByItself) {
    MemoryStorage storage;
    storage.failuresLeft = 3;
    std::promise<void> recovered;
    std::vector<std::string> outcomes;
    SaveOptions options = Deferred();
    options.retryAfter = options.retryAfterAtMost = std::chrono::milliseconds(1);
    options.outcome = [&](const std::exception_ptr& error) {
        outcomes.push_back(ErrorOf(error));
        if (!error) {
            recovered.set_value();
        }
    };
    SettingsManager store(&storage, nullptr, nullptr, options);
    store.SetValue("a", "x", "1");
    recovered.get_future().wait();
    EXPECT_EQ(storage.settings, Document("[a]\nx=1\n"));
    EXPECT_EQ(outcomes.size(), 4U);
    EXPECT_EQ(outcomes.back(), "none");
}

}  // namespace
}  // namespace zumra::settings::server
