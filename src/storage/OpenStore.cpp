#include "storage/OpenStore.h"

#include <utility>

#include "storage/FileCalls.h"
#include "storage/IniFileStore.h"
#include "storage/SqliteStore.h"
#include "storage/StoreLock.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

/// Everything is in the daemon's own memory already.
class MemoryStore : public ISettingsStore {
public:
    [[nodiscard]] core::IniFile Load() override { return {}; }
    void Save(const core::IniFile&) override {}
    void SaveChanges(const core::IniFile&, const std::set<std::string>&) override {}
};

/// An INI file together with what it needs to be ours alone.
class LockedIniFileStore : public ISettingsStore {
public:
    LockedIniFileStore(const std::string& path, IniFileStore::Warn warn)
        : _lock(path), _store(_calls, path, std::move(warn)) {}
    [[nodiscard]] core::IniFile Load() override { return _store.Load(); }
    void Save(const core::IniFile& document) override { _store.Save(document); }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        _store.SaveChanges(changed, removed);
    }

private:
    StoreLock _lock;
    SystemFileCalls _calls;
    IniFileStore _store;
};

[[noreturn]] void Refuse(const std::string& uri) {
    throw osa::Exception("'" + uri + "' names no store; expected ini:PATH, sqlite:PATH or memory:");
}

}  // namespace

std::unique_ptr<ISettingsStore> OpenStore(const std::string& uri,
                                          std::function<void(const std::string&)> warn) {
    const auto colon = uri.find(':');
    const auto slash = uri.find('/');
    if (slash != std::string::npos && (colon == std::string::npos || slash < colon)) {
        return std::make_unique<LockedIniFileStore>(uri, std::move(warn));
    }
    const std::string scheme = uri.substr(0, colon);
    const std::string path = colon == std::string::npos ? std::string() : uri.substr(colon + 1);
    if (scheme == "ini" && !path.empty()) {
        return std::make_unique<LockedIniFileStore>(path, std::move(warn));
    }
    if (scheme == "sqlite" && !path.empty()) {
        return std::make_unique<SqliteStore>(path);
    }
    if (uri == "memory:") {
        return std::make_unique<MemoryStore>();
    }
    Refuse(uri);
}

}  // namespace zumra::storage
