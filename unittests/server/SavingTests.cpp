#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::BlockingStorage;
using testing::Document;
using testing::MemoryStorage;

SaveOptions Deferred(std::chrono::milliseconds delay = std::chrono::milliseconds(0)) {
    SaveOptions options;
    options.deferred = true;
    options.delay = delay;
    return options;
}

constexpr std::chrono::hours kNever{24};

std::string ErrorOf(const std::exception_ptr& error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
        return "none";
    } catch (const osa::Exception& exception) {
        return exception.what();
    }
}

std::string FlushError(SettingsManager& store) {
    try {
        store.Flush();
        return "none";
    } catch (const osa::Exception& exception) {
        return exception.what();
    }
}

TEST(SavingTest, CommitIsSavedWhenItsOperationReturns) {
    MemoryStorage storage;
    SettingsManager store(&storage);
    store.MergeSettings(Document("[a]\nx=1\n[b]\n"));
    EXPECT_EQ(storage.settings, Document("[a]\nx=1\n[b]\n"));
    store.SetValue("a", "x", "2");
    EXPECT_EQ(storage.settings, Document("[a]\nx=2\n[b]\n"));
    store.SetValue("a", "x", "3");
    EXPECT_EQ(storage.settings, Document("[a]\nx=3\n[b]\n"));
    store.EraseGroups(GroupNameMatcher("a"));
    EXPECT_EQ(storage.settings, Document("[b]\n"));
    EXPECT_EQ(storage.saves, 4);
    EXPECT_EQ(store.Statistics().savedRevision, 4U);
}

TEST(SavingTest, NothingIsWrittenWhenNothingChanged) {
    MemoryStorage storage;
    storage.defaults = Document("[d]\nx=1\n");
    storage.settings = Document("[a]\nx=1\n");
    {
        SettingsManager store(&storage);
        store.MergeSettings(Document("[a]\nx=1\n[d]\nx=1\n"));
        store.RestoreToDefaults(GroupNameMatcher("*"));
        store.EraseGroups(GroupNameMatcher("none"));
        store.OverwriteSettings(GroupNameMatcher("a"), Document("[a]\nx=1\n"));
        EXPECT_EQ(store.Revision(), 1U) << "an overwrite is a commit, but there is nothing to be written";
        store.Flush();
        EXPECT_EQ(storage.saves, 0);
        store.SetValue("a", "x", "2");
        store.OverwriteSettings(GroupNameMatcher("a"), Document("[a]\nx=2\n"));
        EXPECT_EQ(store.Statistics().savedRevision, 3U);
    }
    EXPECT_EQ(storage.saves, 1);
}

TEST(SavingTest, SavedDocumentIsTheDifferenceFromTheDefaults) {
    MemoryStorage storage;
    storage.defaults = Document(
        "[same]\nx=1\n[changed]\nx=1\ny=2\nz=3\n[gone1]\nx=1\n[gone2]\n[ZumraSettings/Removed]\nx=1\ny=1\n");
    SettingsManager store(&storage);
    store.MergeSettings(
        Document("[changed]\nx=other\nnew=1\n[own]\nx=1\n[empty]\n[ZumraSettings/Removed/x]\ny=1\n"));
    store.EraseValue("changed", "y");
    store.EraseValue("ZumraSettings/Removed", "y");
    store.EraseGroups(GroupNameMatcher("gone*"));
    EXPECT_EQ(storage.settings, Document("[changed]\nnew=1\nx=other\n"
                                         "[own]\nx=1\n"
                                         "[empty]\n"
                                         "[ZumraSettings/Removed]\ngone1=\ngone2=\n"
                                         "[ZumraSettings/Removed/changed]\ny=\n"
                                         "[ZumraSettings/Removed/ZumraSettings/Removed]\ny=\n"
                                         "[ZumraSettings/Removed!ZumraSettings/Removed/x]\ny=1\n"));
    store.RestoreToDefaults(GroupNameMatcher("*"));
    store.EraseGroups(GroupNameMatcher(std::set<std::string>{"own", "empty", "ZumraSettings/Removed/x"}));
    EXPECT_TRUE(storage.settings.empty()) << storage.settings.SaveToString();
}

TEST(SavingTest, NewDefaultsAppearUnlessOverriddenOrRemoved) {
    MemoryStorage storage;
    storage.defaults = Document("[a]\nset=1\nremoved=1\nfree=1\n[gone]\nx=1\n");
    {
        SettingsManager store(&storage);
        store.SetValue("a", "set", "mine");
        store.EraseValue("a", "removed");
        store.EraseGroups(GroupNameMatcher("gone"));
    }
    storage.defaults = Document("[a]\nset=2\nremoved=2\nfree=2\nnew=2\n[gone]\nx=2\n[fresh]\nx=2\n");
    const SettingsManager store(&storage);
    core::IniFile all;
    store.GetSettings(GroupNameMatcher("*"), all);
    EXPECT_EQ(all, Document("[a]\nset=mine\nfree=2\nnew=2\n[fresh]\nx=2\n"));
}

TEST(SavingTest, RequestMadeAgainAfterAFailedSaveIsSavedToo) {
    MemoryStorage storage;
    SettingsManager store(&storage);
    storage.failuresLeft = 2;
    const core::IniFile wanted = Document("[a]\nx=1\n");
    EXPECT_THROW(store.MergeSettings(wanted), osa::Exception);
    EXPECT_THROW(store.MergeSettings(wanted), osa::Exception) << "nothing to change, but still to be saved";
    EXPECT_EQ(store.MergeSettings(wanted), 1U);
    EXPECT_EQ(storage.settings, wanted);
    storage.failuresLeft = 1;
    EXPECT_THROW(store.SetValue("a", "x", "2"), osa::Exception);
    EXPECT_EQ(store.SetValue("a", "x", "2"), 2U);
    EXPECT_EQ(storage.settings, Document("[a]\nx=2\n"));
}

/// A saved document that nobody but a person can have written: names that a save would write otherwise.
TEST(SavingTest, GroupsSavedUnderOtherNamesGoWhenTheyAreErased) {
    const core::IniFile byHand =
        Document("[ZumraSettings/Removedx]\nx=1\n[ZumraSettings/Removed!plain]\nx=1\n");
    MemoryStorage storage;
    storage.settings = byHand;
    {
        SettingsManager store(&storage);
        EXPECT_EQ(store.GetValue("ZumraSettings/Removedx", "x"), "1");
        EXPECT_EQ(store.GetValue("plain", "x"), "1");
    }
    EXPECT_EQ(storage.saves, 0) << "starting writes nothing";
    {
        SettingsManager store(&storage);
        store.EraseGroups(GroupNameMatcher("plain"));
        EXPECT_EQ(storage.settings, Document("[ZumraSettings/Removed!ZumraSettings/Removedx]\nx=1\n"));
        store.EraseGroups(GroupNameMatcher("*"));
    }
    EXPECT_TRUE(storage.settings.empty()) << storage.settings.SaveToString();
}

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

TEST(SavingTest, FailureOfAnyCallIsToldAndMadeUpFor) {
    const int calls = 2 + static_cast<int>(Operations().size());
    for (int n = 1; n <= calls; ++n) {
        EXPECT_EQ(RunWithFailureAt(n), 1) << n;
    }
    EXPECT_EQ(RunWithFailureAt(calls + 1), 0) << "there are no more calls than that";
}

TEST(SavingTest, FailureOfAnyDeferredSaveIsToldToWhoFlushes) {
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

TEST(SavingTest, EveryFlushTriesAgainWhileNothingCanBeSaved) {
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

TEST(SavingTest, LastFailureIsReportedByTheEndOfTheStore) {
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

TEST(SavingTest, SaverTriesAgainByItself) {
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

TEST(SavingTest, DeferredCommitsAreSavedTogether) {
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

TEST(SavingTest, DeferredCommitIsSavedByItself) {
    BlockingStorage storage;
    storage.Open();
    SettingsManager store(&storage, nullptr, nullptr, true);
    store.SetValue("a", "x", "1");
    storage.AwaitSaves(1);
    EXPECT_EQ(storage.Saved(), Document("[a]\nx=1\n"));
}

TEST(SavingTest, TestAndMergeIsSavedAlsoWhenSavesAreDeferred) {
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
}

TEST(SavingTest, WhenSavedIsToldAtOnceWithoutAPersister) {
    SettingsManager store;
    std::vector<std::string> told;
    store.SetValue("a", "x", "1");
    store.WhenSaved(1, [&](const std::exception_ptr& error) { told.push_back(ErrorOf(error)); });
    EXPECT_EQ(told, std::vector<std::string>{"none"});
    store.Flush();
}

TEST(SavingTest, WhenSavedSavesByItselfUnlessDeferred) {
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

TEST(SavingTest, WhenSavedNeverBlocksWhenDeferred) {
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

TEST(SavingTest, WhoWaitsIsNotToldOfASaveThatBeganTooEarly) {
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

TEST(SavingTest, ReadersAndDeferredWritersDoNotWaitForASave) {
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

TEST(SavingTest, ReadersDoNotWaitForTheSaveOfAWriterThatDoes) {
    BlockingStorage storage;
    SettingsManager store(&storage);
    std::thread writer([&] { store.SetValue("a", "x", "1"); });
    storage.AwaitEntered(1);
    EXPECT_EQ(store.GetValue("a", "x"), "1");
    storage.Open();
    writer.join();
}

TEST(SavingTest, SavesOfSeveralThreadsBecomeOne) {
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

TEST(SavingTest, OthersWhoseCommitAFailedSaveCoveredAreToldToo) {
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

/// Keeps what it was given, call by call.
class IncrementalStorage : public IIncrementalPersister {
public:
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(settings); }
    void SaveSettings(const core::IniFile&) override { ADD_FAILURE() << "the whole is never saved"; }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        calls.push_back({changed, removed});
        if (fail) {
            throw osa::Exception("locked");
        }
    }

    struct Call {
        core::IniFile changed;
        std::set<std::string> removed;
    };
    core::IniFile defaults;
    core::IniFile settings;
    std::vector<Call> calls;
    bool fail = false;
};

TEST(SavingTest, IncrementalPersisterIsGivenOnlyWhatChanged) {
    IncrementalStorage storage;
    storage.defaults = Document("[d]\nx=1\ny=1\n");
    storage.settings = Document("[a]\nx=1\n[b]\nx=1\n");
    SettingsManager store(&storage);
    store.SetValue("a", "y", "2");
    store.EraseValue("d", "y");
    store.EraseGroups(GroupNameMatcher("b"));
    store.EraseGroups(GroupNameMatcher("d"));
    store.RestoreToDefaults(GroupNameMatcher("d"));
    ASSERT_EQ(storage.calls.size(), 5U);
    EXPECT_EQ(storage.calls[0].changed, Document("[a]\nx=1\ny=2\n"));
    EXPECT_TRUE(storage.calls[0].removed.empty());
    EXPECT_EQ(storage.calls[1].changed, Document("[ZumraSettings/Removed/d]\ny=\n"));
    EXPECT_TRUE(storage.calls[2].changed.empty());
    EXPECT_EQ(storage.calls[2].removed, std::set<std::string>{"b"});
    EXPECT_EQ(storage.calls[3].changed, Document("[ZumraSettings/Removed]\nd=\n"));
    EXPECT_EQ(storage.calls[4].removed, (std::set<std::string>{"d", "ZumraSettings/Removed"}));
}

TEST(SavingTest, IncrementalPersisterIsGivenGroupsUnderTheirRightNames) {
    IncrementalStorage storage;
    storage.settings =
        Document("[ZumraSettings/Removedx]\nx=1\n[ZumraSettings/Removed!plain]\ny=1\n[plain]\nx=1\n");
    SettingsManager store(&storage);
    EXPECT_TRUE(storage.calls.empty());
    store.SetValue("a", "x", "1");
    ASSERT_EQ(storage.calls.size(), 1U);
    EXPECT_EQ(storage.calls[0].changed,
              Document("[a]\nx=1\n[ZumraSettings/Removed!ZumraSettings/Removedx]\nx=1\n[plain]\nx=1\ny=1\n"));
    EXPECT_EQ(storage.calls[0].removed,
              (std::set<std::string>{"ZumraSettings/Removed!plain", "ZumraSettings/Removedx"}));
}

TEST(SavingTest, IncrementalPersisterIsGivenAgainWhatItFailedToSave) {
    IncrementalStorage storage;
    storage.settings = Document("[b]\nx=1\n");
    SettingsManager store(&storage);
    storage.fail = true;
    EXPECT_THROW(store.SetValue("a", "x", "1"), osa::Exception);
    EXPECT_THROW(store.EraseGroups(GroupNameMatcher("b")), osa::Exception);
    storage.fail = false;
    store.SetValue("c", "x", "1");
    ASSERT_EQ(storage.calls.size(), 3U);
    EXPECT_EQ(storage.calls[2].changed, Document("[a]\nx=1\n[c]\nx=1\n"));
    EXPECT_EQ(storage.calls[2].removed, std::set<std::string>{"b"});
}

TEST(SavingTest, WhatWasTakenBackAfterAFailedSaveIsNotSaved) {
    IncrementalStorage storage;
    storage.settings = Document("[b]\nx=1\n");
    SettingsManager store(&storage);
    storage.fail = true;
    EXPECT_THROW(store.SetValue("a", "x", "1"), osa::Exception);
    EXPECT_THROW(store.EraseGroups(GroupNameMatcher("b")), osa::Exception);
    EXPECT_THROW(store.EraseGroups(GroupNameMatcher("a")), osa::Exception);
    storage.fail = false;
    store.SetValue("b", "x", "2");
    EXPECT_EQ(storage.calls.back().changed, Document("[b]\nx=2\n"));
    EXPECT_EQ(storage.calls.back().removed, std::set<std::string>{"a"});
}

}  // namespace
}  // namespace zumra::settings::server
