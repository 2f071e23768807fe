#include "storage/FaultyVfs.h"

#include <algorithm>

namespace zumra::storage {

namespace {

constexpr std::size_t kSector = 512;

/// `synced`, but every other sector as in `all`.
std::string Mixed(const std::string& synced, const std::string& all) {
    std::string mixed = all;
    for (std::size_t at = 0; at < all.size(); at += 2 * kSector) {
        const std::size_t size = std::min(kSector, all.size() - at);
        std::string old = at < synced.size() ? synced.substr(at, size) : std::string();
        old.resize(size);
        mixed.replace(at, size, old);
    }
    return mixed;
}

}  // namespace

FaultyVfs::FaultyVfs(const Disk& disk) {
    for (const auto& [name, data] : disk) {
        const auto file = std::make_shared<std::string>(data);
        files.emplace(name, file);
        _written[file.get()].synced = data;
    }
    _syncedNames = files;
}

void FaultyVfs::FailAt(std::size_t call, Fault fault) {
    _failAt = call;
    _fault = fault;
}

/// What was written since the last call.
void FaultyVfs::Notice() {
    for (const auto& [name, file] : files) {
        Written& written = _written[file.get()];
        const std::string& last = written.unsynced.empty() ? written.synced : written.unsynced.back();
        if (last != *file) {
            written.unsynced.push_back(*file);
        }
    }
}

/// With the log or the journal SQLite syncs their folder.
void FaultyVfs::Sync(const std::string& name) {
    const auto found = files.find(name);
    if (found == files.end()) {
        return;
    }
    Written& written = _written[found->second.get()];
    written.synced = *found->second;
    written.unsynced.clear();
    if (name.find('-') != std::string::npos) {
        _syncedNames = files;
    }
}

int FaultyVfs::ErrorFor(Call call) const {
    if (_fault == Fault::kNoMemory) {
        return SQLITE_IOERR_NOMEM;
    }
    switch (call) {
        case Call::kOpen:
            return SQLITE_CANTOPEN;
        case Call::kRead:
            return SQLITE_IOERR_READ;
        case Call::kWrite:
            return _fault == Fault::kDiskFull ? SQLITE_FULL : SQLITE_IOERR_WRITE;
        case Call::kTruncate:
            return SQLITE_IOERR_TRUNCATE;
        case Call::kSync:
            return SQLITE_IOERR_FSYNC;
        case Call::kSize:
            return SQLITE_IOERR_FSTAT;
        case Call::kDelete:
            return SQLITE_IOERR_DELETE;
        case Call::kAccess:
            return SQLITE_IOERR_ACCESS;
    }
    return SQLITE_IOERR;
}

int FaultyVfs::Before(Call call, const std::string& name) {
    if (_off) {
        return SQLITE_IOERR;
    }
    Notice();
    const std::size_t number = _calls++;
    if (number == _cutAt) {
        _off = true;
        return SQLITE_IOERR;
    }
    if (number == _failAt) {
        return ErrorFor(call);
    }
    if (call == Call::kSync) {
        Sync(name);
    }
    return SQLITE_OK;
}

FaultyVfs::Disk FaultyVfs::AfterReboot(Luck database, Luck log, bool newNames) {
    if (!_off) {
        Notice();
    }
    Disk disk;
    for (const auto& [name, file] : newNames ? files : _syncedNames) {
        const Written& written = _written[file.get()];
        const auto& unsynced = written.unsynced;
        std::string data = written.synced;
        const Luck luck = name.find('-') == std::string::npos ? database : log;
        if (!unsynced.empty() && luck == Luck::kHalf) {
            data = unsynced.size() > 1 ? unsynced[unsynced.size() / 2 - 1] : data;
        } else if (!unsynced.empty() && luck != Luck::kSyncedOnly) {
            data = luck == Luck::kAll ? unsynced.back() : Mixed(written.synced, unsynced.back());
        }
        disk.emplace(name, std::move(data));
    }
    return disk;
}

FaultyVfs::Disk FaultyVfs::Now() const {
    Disk disk;
    for (const auto& [name, file] : files) {
        disk.emplace(name, *file);
    }
    return disk;
}

}  // namespace zumra::storage
