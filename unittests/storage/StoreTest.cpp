// Every store kept in real files: what goes in comes out, for one process at a time.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>

#include "storage/OpenStore.h"
#include "storage/SqliteStore.h"
#include "support/TemporaryDirectory.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {
namespace {

using test::TemporaryDirectory;

std::unique_ptr<ISettingsStore> Open(const std::string& uri) {
    return OpenStore(uri, [](const std::string& warning) { ADD_FAILURE() << warning; });
}

std::string ReasonOf(const std::string& uri) {
    try {
        (void)Open(uri);
    } catch (const osa::Exception& error) {
        return error.what();
    }
    return "no exception";
}

class RandomDocuments {
public:
    core::IniFile Next() {
        for (int change = 0; change < 20; ++change) {
            const std::string group = Name();
            switch (Pick(6)) {
                case 0:
                    _document.EraseGroup(group);
                    break;
                case 1:
                    _document.EraseValue(group, Name());
                    break;
                case 2:
                    (void)_document[group];
                    break;
                default:
                    _document[group][Name()] = std::string(Pick(40), static_cast<char>(Pick(256)));
            }
        }
        return _document;
    }

private:
    unsigned Pick(unsigned count) { return static_cast<unsigned>(_random() % count); }
    std::string Name() {
        static const std::string bytes("\0\n\r\"=[]#; ab\xff", 13);
        std::string name;
        for (unsigned length = Pick(3); length > 0; --length) {
            name += bytes[Pick(13)];
        }
        return name;
    }
    std::mt19937 _random{42};
    core::IniFile _document;
};

class KeptStoreTest : public ::testing::TestWithParam<const char*> {
protected:
    [[nodiscard]] std::string Uri() const { return GetParam() + _directory.File("settings"); }
    TemporaryDirectory _directory;
};

TEST_P(KeptStoreTest, StartsEmpty) {
    EXPECT_TRUE(Open(Uri())->Load().empty());
}

TEST_P(KeptStoreTest, GivesBackEverySavedDocument) {
    RandomDocuments documents;
    auto store = Open(Uri());
    for (int round = 0; round < 60; ++round) {
        const core::IniFile document = documents.Next();
        store->Save(document);
        EXPECT_EQ(document, store->Load());
        if (round % 3 == 0) {
            store.reset();
            store = Open(Uri());
            ASSERT_EQ(document, store->Load());
        }
    }
}

core::IniFile ChangedGroups(const core::IniFile& before, const core::IniFile& after) {
    core::IniFile changed;
    for (const auto& [name, values] : after) {
        const core::IniFile::Group* old = before.FindGroup(name);
        if (old == nullptr || *old != values) {
            changed.SetGroup(name, values);
        }
    }
    return changed;
}

std::set<std::string> RemovedGroups(const core::IniFile& before, const core::IniFile& after) {
    std::set<std::string> removed;
    for (const auto& group : before) {
        if (!after.HasGroup(group.first)) {
            removed.insert(group.first);
        }
    }
    return removed;
}

TEST_P(KeptStoreTest, KeepsEveryChange) {
    RandomDocuments documents;
    core::IniFile last;
    auto store = Open(Uri());
    for (int round = 0; round < 60; ++round) {
        const core::IniFile document = documents.Next();
        store->SaveChanges(ChangedGroups(last, document), RemovedGroups(last, document));
        last = document;
        if (round % 3 == 0) {
            // Also by one that has not loaded what it adds to.
            store.reset();
            store = Open(Uri());
        }
        if (round % 5 == 0) {
            ASSERT_EQ(document, store->Load()) << "round " << round;
        }
    }
    store.reset();
    EXPECT_EQ(last, Open(Uri())->Load());
}

TEST_P(KeptStoreTest, IsForOneProcessAtATime) {
    auto store = Open(Uri());
    EXPECT_NE(std::string::npos, ReasonOf(Uri()).find("another process")) << ReasonOf(Uri());
    store.reset();
    EXPECT_EQ("no exception", ReasonOf(Uri()));
}

TEST_P(KeptStoreTest, IsForItsOwnerOnly) {
    const auto store = Open(Uri());
    core::IniFile document;
    document["a"]["x"] = "1";
    store->Save(document);
    store->Save(core::IniFile());
    std::size_t files = 0;
    for (const auto& file : std::filesystem::directory_iterator(_directory.Path())) {
        struct stat status {};
        ASSERT_EQ(0, ::stat(file.path().c_str(), &status));
        EXPECT_EQ(0600u, status.st_mode & 0777u) << file.path();
        ++files;
    }
    EXPECT_GT(files, 1U) << "what is kept beside it, too";
}

TEST_P(KeptStoreTest, NamesADirectoryThatIsNotThere) {
    const std::string reason = ReasonOf(GetParam() + _directory.File("none/settings"));
    EXPECT_NE(std::string::npos, reason.find("none/settings")) << reason;
    EXPECT_NE(std::string::npos, reason.find(std::strerror(ENOENT))) << reason;
}

INSTANTIATE_TEST_SUITE_P(Stores, KeptStoreTest, ::testing::Values("ini:", "sqlite:"), [](const auto& test) {
    return std::string(test.param, std::strlen(test.param) - 1);
});

TEST(SqliteStoreTest, WritesOnlyWhatChanged) {
    const TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    core::IniFile document;
    for (int group = 0; group < 100; ++group) {
        for (int value = 0; value < 50; ++value) {
            document["group" + std::to_string(group)]["value" + std::to_string(value)] = "text";
        }
    }
    auto store = Open("sqlite:" + path);
    store->Save(document);
    store.reset();
    store = Open("sqlite:" + path);
    const auto before = std::filesystem::file_size(path + "-wal");
    document["group7"]["value9"] = "other";
    store->Save(document);
    const auto written = std::filesystem::file_size(path + "-wal") - before;
    EXPECT_GT(written, 0u);
    EXPECT_LT(written, std::filesystem::file_size(path) / 4);
}

TEST(SqliteStoreTest, SavesTheChangesBetweenRandomDocuments) {
    const TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    RandomDocuments documents;
    core::IniFile last;
    SqliteStore store(path);
    for (int round = 0; round < 200; ++round) {
        const core::IniFile next = documents.Next();
        core::IniFile changed;
        std::set<std::string> removed{"never there"};
        for (const auto& [name, values] : last) {
            if (!next.HasGroup(name)) {
                removed.insert(name);
            }
        }
        for (const auto& [name, values] : next) {
            const core::IniFile::Group* before = last.FindGroup(name);
            if (before == nullptr || *before != values) {
                changed.SetGroup(name, values);
            }
        }
        store.SaveChanges(changed, removed);
        ASSERT_EQ(next, store.Load()) << round;
        last = next;
    }
}

/// While it lives no file grows beyond the limit: writing fails as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t limit) {
        ::getrlimit(RLIMIT_FSIZE, &_before);
        const rlimit full{limit, _before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &_before);
        ::signal(SIGXFSZ, _handler);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit _before{};
    void (*_handler)(int) = ::signal(SIGXFSZ, SIG_IGN);
};

TEST(SqliteStoreTest, SaveThatFailsChangesNothingAndIsMadeUpFor) {
    const TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    core::IniFile before;
    before["kept"]["a"] = "1";
    before["changed"]["a"] = "1";
    core::IniFile after;
    after["changed"]["a"] = std::string(std::size_t{1} << 20, 'x');
    auto store = Open("sqlite:" + path);
    store->Save(before);
    {
        const FullDisk full(std::filesystem::file_size(path + "-wal") + 20000);
        EXPECT_THROW(store->Save(after), osa::Exception);
        EXPECT_EQ(before, store->Load());
    }
    store->Save(after);
    EXPECT_EQ(after, store->Load());
    store.reset();
    EXPECT_EQ(after, Open("sqlite:" + path)->Load());
}

TEST(SqliteStoreTest, LeavesOtherDatabasesAndFilesAlone) {
    const TemporaryDirectory directory;
    const std::string path = directory.File("other");
    sqlite3* database = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &database));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(database, "CREATE TABLE groups(a)", nullptr, nullptr, nullptr));
    sqlite3_close(database);
    EXPECT_NE(std::string::npos, ReasonOf("sqlite:" + path).find("no settings database"));
    const std::string text = directory.File("text");
    std::ofstream(text) << std::string(5000, 'x');
    EXPECT_NE(std::string::npos, ReasonOf("sqlite:" + text).find("not a database"))
        << ReasonOf("sqlite:" + text);
    EXPECT_EQ(5000u, std::filesystem::file_size(text));
}

void RunSql(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &database));
    EXPECT_EQ(SQLITE_OK, sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr))
        << sqlite3_errmsg(database);
    sqlite3_close(database);
}

TEST(SqliteStoreTest, TakesWhatAPersonPutInForItsOwn) {
    const TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    core::IniFile document;
    document["kept"]["x"] = "1";
    Open("sqlite:" + path)->Save(document);
    RunSql(
        path,
        "INSERT INTO groups VALUES('gone'); INSERT INTO groups VALUES(7); INSERT INTO groups VALUES('kept');"
        "INSERT INTO settings VALUES('gone', 'x', 'text'); INSERT INTO settings VALUES('kept', 'x', 'two');"
        "INSERT INTO settings VALUES('new', 'x', 3)");
    document = Open("sqlite:" + path)->Load();
    EXPECT_EQ(document.SaveToString(), "[7]\n\n[gone]\nx = text\n\n[kept]\nx = two\n\n[new]\nx = 3\n\n");
    document.EraseGroup("gone");
    document.EraseGroup("7");
    document["kept"]["x"] = "3";
    Open("sqlite:" + path)->Save(document);
    EXPECT_EQ(Open("sqlite:" + path)->Load(), document);
}

TEST(SqliteStoreTest, RefusesOrUsesTablesOfAnyShape) {
    const std::string tables[] = {
        "DROP TABLE groups",
        "DROP TABLE settings",
        "DROP TABLE settings; CREATE TABLE settings(grp, name)",
        "DROP TABLE settings; CREATE TABLE settings(grp, name, value); INSERT INTO settings VALUES(NULL, "
        "NULL, NULL)",
        "DROP TABLE settings; CREATE TABLE settings(grp INTEGER, name REAL, value TEXT, extra)",
        "DROP TABLE groups; CREATE VIEW groups AS SELECT zeroblob(9) AS name",
        "DROP TABLE groups; CREATE TABLE groups(name CHECK(name <> 'new')); INSERT INTO groups VALUES(1.5)",
        "CREATE TRIGGER t BEFORE INSERT ON settings BEGIN SELECT RAISE(ABORT, 'no'); END",
    };
    for (const std::string& sql : tables) {
        SCOPED_TRACE(sql);
        const TemporaryDirectory directory;
        const std::string path = directory.File("settings");
        (void)Open("sqlite:" + path);
        RunSql(path, sql);
        core::IniFile document;
        document["new"]["x"] = "1";
        try {
            const auto store = Open("sqlite:" + path);
            (void)store->Load();
            store->Save(document);
            EXPECT_EQ(store->Load(), document);
        } catch (const osa::Exception& error) {
            EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
        }
    }
}

TEST(SqliteStoreTest, SavesAgainAfterASaveThatTheDatabaseRefused) {
    const TemporaryDirectory directory;
    const std::string path = directory.File("settings");
    (void)Open("sqlite:" + path);
    RunSql(path,
           "CREATE TRIGGER t BEFORE INSERT ON settings WHEN NEW.name = CAST('no' AS BLOB)"
           " BEGIN SELECT RAISE(ABORT, 'refused'); END");
    const auto store = Open("sqlite:" + path);
    core::IniFile document;
    document["a"]["yes"] = "1";
    store->Save(document);
    core::IniFile refused = document;
    refused["b"]["no"] = "1";
    EXPECT_THROW(store->Save(refused), osa::Exception);
    EXPECT_EQ(document, store->Load());
    document["b"]["yes"] = "2";
    store->Save(document);
    EXPECT_EQ(document, store->Load());
}

TEST(OpenStoreTest, TakesAPlainPathForAnIniFile) {
    const TemporaryDirectory directory;
    core::IniFile document;
    document["a"]["b"] = "c";
    Open(directory.File("a:b"))->Save(document);
    EXPECT_EQ(document, Open("ini:" + directory.File("a:b"))->Load());
}

TEST(OpenStoreTest, KeepsNothingInMemory) {
    core::IniFile document;
    document["a"];
    const auto store = Open("memory:");
    store->Save(document);
    store->SaveChanges(document, {});
    EXPECT_TRUE(store->Load().empty());
}

TEST(OpenStoreTest, RefusesWhatNamesNoStore) {
    for (const char* uri : {"", "ini:", "sqlite:", "redis:/x", "settings.ini", "memory:x", ":"}) {
        EXPECT_EQ("'" + std::string(uri) + "' names no store; expected ini:PATH, sqlite:PATH or memory:",
                  ReasonOf(uri));
    }
}

}  // namespace
}  // namespace zumra::storage
