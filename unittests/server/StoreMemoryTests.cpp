#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>
#include <vector>

#include "server/StoreDoubles.h"
#include "settings/common/ChangeRouter.h"
#include "support/FailingMemory.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Document;
using zumra::test::FailingMemory;

/// Counts calls and allocates nothing.
class Counter : public common::IChangeListener {
public:
    void OnChange(const std::shared_ptr<const common::Change>&, const common::CoveredNames&) override {
        ++calls;
    }
    int calls = 0;
};

core::IniFile All(const SettingsManager& store) {
    core::IniFile all;
    store.GetSettings(GroupNameMatcher("*"), all);
    return all;
}

/// Runs the operation once for each of its allocations, with that one failing, until it succeeds: each time
/// it fails nothing may have changed and nobody may have been told.
void ExpectAllOrNothing(const std::function<void(SettingsManager&)>& operation, bool inPlace) {
    SettingsManager store(Document("[d1]\nx=1\ny=1\n[d2]\nx=1\n"));
    store.MergeSettings(
        Document("[a]\nx=a value that is too long to be stored in the string itself\ny=1\n"
                 "[b]\nx=1\n[d1]\nx=changed\n"));
    store.EraseGroups(GroupNameMatcher("d2"));
    Counter counter;
    store.Subscribe(&counter, GroupNameMatcher("*"));
    const core::IniFile before = All(store);
    const std::uint64_t revision = store.Revision();
    const common::GroupMap held = inPlace ? common::GroupMap() : store.Read(GroupNameMatcher("*"));
    std::size_t failures = 0;
    for (;; ++failures) {
        try {
            const FailingMemory memory(failures + 1);
            operation(store);
            ASSERT_FALSE(memory.Failed()) << "a failure was hidden";
            break;
        } catch (const std::bad_alloc&) {
        }
        ASSERT_EQ(All(store), before) << failures;
        ASSERT_EQ(store.Revision(), revision) << failures;
        ASSERT_EQ(counter.calls, 0) << failures;
    }
    EXPECT_GT(failures, 0U);
    EXPECT_EQ(store.Revision(), revision + 1);
    EXPECT_EQ(counter.calls, 1);
    EXPECT_NE(All(store), before);
}

TEST(StoreMemoryTest, OperationWithoutMemoryChangesNothing) {
    const core::IniFile document = Document(
        "[a]\nx=another value that is too long for the string itself\nz=3\n"
        "[new]\nx=1\n[d1]\ny=changed\n");
    const GroupNameMatcher all("*");
    const std::vector<std::function<void(SettingsManager&)>> operations = {
        [&](SettingsManager& store) { store.MergeSettings(document); },
        [&](SettingsManager& store) { store.SetValue("a", "x", "short"); },
        [&](SettingsManager& store) { store.SetValue("a", "new", "short"); },
        [&](SettingsManager& store) { store.SetValue("new", "new", "short"); },
        [&](SettingsManager& store) { store.OverwriteSettings(all, document); },
        [&](SettingsManager& store) { store.EraseGroups(all); },
        [&](SettingsManager& store) { store.EraseValue("a", "x"); },
        [&](SettingsManager& store) { store.RestoreToDefaults(all); },
        [&](SettingsManager& store) { store.TestAndMerge(Document("[b]\nx=1\n"), document); },
        [&](SettingsManager& store) {
            store.TestExactlyAndMerge(GroupNameMatcher("b"), Document("[b]\nx=1\n"), document);
        },
        [&](SettingsManager& store) {
            store.TestExactlyAndOverwrite(GroupNameMatcher("b"), Document("[b]\nx=1\n"), document);
        },
    };
    for (std::size_t i = 0; i < operations.size(); ++i) {
        SCOPED_TRACE(i);
        ExpectAllOrNothing(operations[i], true);
        ExpectAllOrNothing(operations[i], false);
    }
}

TEST(StoreMemoryTest, FailedSubscribeLeavesNothingBehind) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n[b]\nx=1\n"));
    Counter known;
    store.Subscribe(&known, GroupNameMatcher("b"));
    Counter counter;
    const GroupNameMatcher groups(
        std::set<std::string>{"a", "a name that is too long for the string itself", "b*", "bb*"});
    std::size_t failures = 0;
    for (;; ++failures) {
        common::GroupMap current;
        try {
            const FailingMemory memory(failures + 1);
            store.Subscribe(&counter, groups, &current);
            break;
        } catch (const std::bad_alloc&) {
        }
        store.SetValue("b", "x", std::to_string(failures));
        store.SetValue("a", "x", std::to_string(failures));
        ASSERT_EQ(counter.calls, 0) << failures;
        ASSERT_TRUE(current.empty());
        ASSERT_EQ(store.Statistics().listeners, 1U);
    }
    EXPECT_GT(failures, 5U);
    EXPECT_EQ(known.calls, static_cast<int>(failures));
    store.UnSubscribe(&counter);
}

TEST(StoreMemoryTest, SaveWithoutMemoryIsMadeUpForByTheNext) {
    std::size_t failures = 0;
    for (bool done = false; !done; ++failures) {
        testing::MemoryStorage storage;
        storage.defaults = Document("[d1]\nx=1\ny=1\n[d2]\nx=1\n");
        storage.settings = Document("[a]\nx=1\n");
        {
            SettingsManager store(&storage);
            store.TestAndMerge({}, Document("[a]\nx=2\n[b]\nx=2\n[d1]\nx=2\n"), nullptr,
                               Durability::kDontWait);
            try {
                const FailingMemory memory(failures + 1);
                store.Flush();
                done = true;
            } catch (const osa::Exception& error) {
                EXPECT_STREQ(error.what(), "cannot save: out of memory");
            } catch (const std::bad_alloc&) {
            }
            store.EraseGroups(GroupNameMatcher("d2"));
        }
        ASSERT_EQ(storage.settings, Document("[a]\nx=2\n[b]\nx=2\n[d1]\nx=2\n[ZumraSettings/Removed]\nd2=\n"))
            << failures;
    }
    EXPECT_GT(failures, 5U);
}

}  // namespace
}  // namespace zumra::settings::server
