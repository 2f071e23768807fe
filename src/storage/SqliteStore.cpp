#include "storage/SqliteStore.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string_view>

#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

constexpr int kApplicationId = 0x5A554D52;
constexpr int kVersion = 1;

/// Makes the file first, so that it is never readable for others, not even for a moment.
void MakeFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        throw osa::Exception("cannot use settings database '" + path + "': " + std::strerror(errno));
    }
    ::close(fd);
}

}  // namespace

struct SqliteStore::Database {
    explicit Database(const std::string& file) : path(file) {
        MakeFile(path);
        const int result = sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr);
        if (result != SQLITE_OK) {
            const std::string reason = handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(result);
            sqlite3_close(handle);
            throw osa::Exception("cannot use settings database '" + path + "': " + reason);
        }
    }
    ~Database() { sqlite3_close(handle); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    [[noreturn]] void Fail(const std::string& reason) const {
        throw osa::Exception("cannot use settings database '" + path + "': " + reason);
    }
    void Check(int result) const {
        if (result == SQLITE_BUSY || result == SQLITE_LOCKED) {
            Fail("another process is using it");
        }
        if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE) {
            Fail(sqlite3_errmsg(handle));
        }
    }
    void Run(const char* sql) const { Check(sqlite3_exec(handle, sql, nullptr, nullptr, nullptr)); }

    std::string path;
    sqlite3* handle = nullptr;
};

namespace {

/// One prepared statement; columns and parameters are BLOBs.
class Statement {
public:
    template <class Database>
    Statement(const Database& database, const char* sql)
        : _check([&database](int result) { database.Check(result); }) {
        _check(sqlite3_prepare_v2(database.handle, sql, -1, &_statement, nullptr));
    }
    ~Statement() { sqlite3_finalize(_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    template <class... Texts>
    void Run(const Texts&... texts) {
        int index = 0;
        (Bind(++index, texts), ...);
        while (Step()) {
        }
        _check(sqlite3_reset(_statement));
    }
    [[nodiscard]] bool Step() {
        const int result = sqlite3_step(_statement);
        _check(result);
        return result == SQLITE_ROW;
    }
    [[nodiscard]] std::string Text(int column) const {
        const void* bytes = sqlite3_column_blob(_statement, column);
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(_statement, column));
        return bytes == nullptr ? std::string() : std::string(static_cast<const char*>(bytes), size);
    }
    [[nodiscard]] int Number(int column) const { return sqlite3_column_int(_statement, column); }

private:
    void Bind(int index, std::string_view text) {
        // A null pointer would bind NULL, not an empty BLOB.
        const char* bytes = text.empty() ? "" : text.data();
        _check(sqlite3_bind_blob64(_statement, index, bytes, text.size(), SQLITE_STATIC));
    }

    std::function<void(int)> _check;
    sqlite3_stmt* _statement = nullptr;
};

template <class Database>
int ReadNumber(const Database& database, const char* sql) {
    Statement statement(database, sql);
    return statement.Step() ? statement.Number(0) : 0;
}

template <class Database>
void CheckOrMakeTables(const Database& database) {
    const int application = ReadNumber(database, "PRAGMA application_id");
    const int version = ReadNumber(database, "PRAGMA user_version");
    if (application == kApplicationId && version == kVersion) {
        return;
    }
    if (application != 0 || version != 0 || ReadNumber(database, "SELECT count(*) FROM sqlite_master") != 0) {
        database.Fail("it is no settings database of version " + std::to_string(kVersion));
    }
    database.Run(
        "BEGIN EXCLUSIVE;"
        "CREATE TABLE groups(name BLOB PRIMARY KEY) WITHOUT ROWID;"
        "CREATE TABLE settings(grp BLOB, name BLOB, value BLOB NOT NULL, PRIMARY KEY(grp, name)) WITHOUT "
        "ROWID;"
        "PRAGMA application_id = 1515539794;"
        "PRAGMA user_version = 1;"
        "COMMIT;");
}
static_assert(kApplicationId == 1515539794 && kVersion == 1);

template <class Database>
core::IniFile ReadAll(const Database& database) {
    core::IniFile document;
    Statement groups(database, "SELECT name FROM groups");
    while (groups.Step()) {
        (void)document[groups.Text(0)];
    }
    Statement settings(database, "SELECT grp, name, value FROM settings");
    while (settings.Step()) {
        document[settings.Text(0)][settings.Text(1)] = settings.Text(2);
    }
    return document;
}

/// Writes the difference between two documents.
template <class Database>
class DifferenceWriter {
public:
    explicit DifferenceWriter(const Database& database)
        : _addGroup(database, "INSERT OR IGNORE INTO groups VALUES(?1)"),
          _removeGroup(database, "DELETE FROM groups WHERE name = ?1"),
          _removeValues(database, "DELETE FROM settings WHERE grp = ?1"),
          _setValue(database, "INSERT OR REPLACE INTO settings VALUES(?1, ?2, ?3)"),
          _removeValue(database, "DELETE FROM settings WHERE grp = ?1 AND name = ?2") {}

    void Write(const core::IniFile& from, const core::IniFile& to) {
        for (const auto& [name, values] : from) {
            if (!to.HasGroup(name)) {
                _removeValues.Run(name);
                _removeGroup.Run(name);
            }
        }
        const core::IniFile::Group none;
        for (const auto& [name, values] : to) {
            const core::IniFile::Group* before = from.FindGroup(name);
            if (before == nullptr) {
                _addGroup.Run(name);
            }
            WriteGroup(name, before != nullptr ? *before : none, values);
        }
    }

private:
    void WriteGroup(const std::string& group, const core::IniFile::Group& from,
                    const core::IniFile::Group& to) {
        for (const auto& [name, value] : from) {
            if (to.find(name) == to.end()) {
                _removeValue.Run(group, name);
            }
        }
        for (const auto& [name, value] : to) {
            const auto before = from.find(name);
            if (before == from.end() || before->second != value) {
                _setValue.Run(group, name, value);
            }
        }
    }

    Statement _addGroup;
    Statement _removeGroup;
    Statement _removeValues;
    Statement _setValue;
    Statement _removeValue;
};

}  // namespace

SqliteStore::SqliteStore(const std::string& path) : _database(std::make_unique<Database>(path)) {
    _database->Run("PRAGMA locking_mode = EXCLUSIVE");
    _database->Run("PRAGMA journal_mode = WAL");
    _database->Run("PRAGMA synchronous = FULL");
    _database->Run("BEGIN EXCLUSIVE; COMMIT");
    CheckOrMakeTables(*_database);
    _saved = ReadAll(*_database);
}

SqliteStore::~SqliteStore() = default;

core::IniFile SqliteStore::Load() {
    return _saved;
}

void SqliteStore::Save(const core::IniFile& document) {
    core::IniFile saved = document;
    _database->Run("BEGIN IMMEDIATE");
    try {
        DifferenceWriter(*_database).Write(_saved, document);
        _database->Run("COMMIT");
    } catch (...) {
        sqlite3_exec(_database->handle, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
    swap(_saved, saved);
}

}  // namespace zumra::storage
