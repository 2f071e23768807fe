// The SQLite store when the system fails it, and when the power does.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <optional>
#include <set>

#include "storage/FaultyVfs.h"
#include "storage/SqliteStore.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {
namespace {

using Disk = FaultyVfs::Disk;

const std::string kPath = "/state/settings";

/// With values of more than a page, and groups that the others lack.
core::IniFile Document(const std::string& text) {
    core::IniFile document;
    document["group"]["value"] = text;
    document["only/" + text]["x"] = text;
    document["long"]["value"] = std::string(9000, text[0]);
    document["long"]["kept"] = std::string(9000, 'k');
    document["empty"];
    return document;
}

core::IniFile Found(const Disk& disk) {
    FaultyVfs vfs(disk);
    return SqliteStore(kPath, vfs).Load();
}

/// How the disk is before the save, and how it saves.
struct Start {
    const char* name;
    int saves;
    bool closed;   ///< the store before was closed; otherwise its process was killed
    bool changes;  ///< only what differs is saved
};

class SqliteFaultTest : public ::testing::TestWithParam<Start> {
protected:
    SqliteFaultTest() {
        if (GetParam().saves == 0) {
            return;
        }
        FaultyVfs vfs;
        {
            SqliteStore store(kPath, vfs);
            if (GetParam().saves > 1) {
                store.Save(_older);
            }
            store.Save(_old);
            _start = vfs.Now();
        }
        if (GetParam().closed) {
            _start = vfs.Now();
        }
    }

    [[nodiscard]] core::IniFile OldDocument() const { return GetParam().saves > 0 ? _old : core::IniFile(); }

    void Save(SqliteStore& store) const {
        if (!GetParam().changes) {
            store.Save(_new);
            return;
        }
        std::set<std::string> removed;
        for (const auto& [name, values] : OldDocument()) {
            if (!_new.HasGroup(name)) {
                removed.insert(name);
            }
        }
        store.SaveChanges(_new, removed);
    }

    /// Opens, saves and closes; whether the save succeeded. `afterwards` is called with the open store when
    /// there is one.
    bool Run(FaultyVfs& vfs, const std::function<void(SqliteStore&)>& afterwards = {}) const {
        bool saved = false;
        std::optional<SqliteStore> store;
        try {
            store.emplace(kPath, vfs);
            Save(*store);
            saved = true;
        } catch (const osa::Exception& failure) {
            EXPECT_NE(nullptr, std::strstr(failure.what(), kPath.c_str())) << failure.what();
        }
        if (store && afterwards) {
            afterwards(*store);
        }
        return saved;
    }

    [[nodiscard]] std::size_t CallsOfARun() const {
        FaultyVfs vfs(_start);
        EXPECT_TRUE(Run(vfs));
        return vfs.Calls();
    }

    const core::IniFile _older = Document("older");
    const core::IniFile _old = Document("previous");
    const core::IniFile _new = Document("new");
    Disk _start;
};

using Luck = FaultyVfs::Luck;
constexpr Luck kLucks[] = {Luck::kSyncedOnly, Luck::kHalf, Luck::kAll, Luck::kEveryOtherSector};

TEST_P(SqliteFaultTest, EveryCallFailsOnceWithEveryError) {
    const std::size_t calls = CallsOfARun();
    ASSERT_GE(calls, 20u);
    std::size_t failures = 0;
    for (std::size_t call = 0; call < calls; ++call) {
        for (const auto fault :
             {FaultyVfs::Fault::kDiskFull, FaultyVfs::Fault::kInputOutput, FaultyVfs::Fault::kNoMemory}) {
            SCOPED_TRACE("call " + std::to_string(call) + " fails with fault " +
                         std::to_string(static_cast<int>(fault)));
            FaultyVfs vfs(_start);
            vfs.FailAt(call, fault);
            const bool saved = Run(vfs, [&](SqliteStore& store) {
                // The same store goes on, as the daemon's does.
                vfs.Disarm();
                const core::IniFile found = store.Load();
                EXPECT_TRUE(found == _new || found == OldDocument());
                EXPECT_NO_THROW(Save(store));
                EXPECT_EQ(_new, store.Load());
                EXPECT_EQ(_new, Found(vfs.AfterReboot(Luck::kSyncedOnly, Luck::kSyncedOnly, false)));
            });
            failures += saved ? 0 : 1;
            vfs.Disarm();
            const core::IniFile found = Found(vfs.Now());
            EXPECT_TRUE(found == _new || (!saved && found == OldDocument()));
            FaultyVfs again(vfs.Now());
            EXPECT_TRUE(Run(again));
            EXPECT_EQ(_new, Found(again.Now()));
        }
    }
    EXPECT_GE(failures, 10u);
}

TEST_P(SqliteFaultTest, ThePowerFailsAtEveryCall) {
    const std::size_t calls = CallsOfARun();
    std::set<bool> outcomes;
    for (std::size_t call = 0; call <= calls; ++call) {
        FaultyVfs vfs(_start);
        vfs.CutAt(call);
        const bool saved = Run(vfs);
        for (const Luck database : kLucks) {
            for (const Luck log : kLucks) {
                for (const bool newNames : {false, true}) {
                    SCOPED_TRACE("cut at call " + std::to_string(call) + " of " + std::to_string(calls) +
                                 " with luck " + std::to_string(static_cast<int>(database)) + ", " +
                                 std::to_string(static_cast<int>(log)) + ", " + std::to_string(newNames));
                    const Disk disk = vfs.AfterReboot(database, log, newNames);
                    const core::IniFile found = Found(disk);
                    ASSERT_TRUE(found == _new || (!saved && found == OldDocument()));
                    outcomes.insert(found == _new);
                    FaultyVfs again(disk);
                    ASSERT_TRUE(Run(again));
                    ASSERT_EQ(_new, Found(again.AfterReboot(Luck::kSyncedOnly, Luck::kSyncedOnly, false)));
                }
            }
        }
    }
    EXPECT_EQ((std::set<bool>{false, true}), outcomes);
}

INSTANTIATE_TEST_SUITE_P(
    Starts, SqliteFaultTest,
    ::testing::Values(Start{"first", 0, true, false}, Start{"firstChanges", 0, true, true},
                      Start{"second", 1, true, false}, Start{"thirdAfterAKill", 2, false, false},
                      Start{"thirdChangesAfterAKill", 2, false, true}, Start{"thirdChanges", 2, true, true}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace zumra::storage
