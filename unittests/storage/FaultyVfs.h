#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "storage/MemoryVfs.h"

namespace zumra::storage {

/// Files of a database that know what has reached the disk. Can fail any call, or cut the power at it: then
/// every further call fails, until the machine starts again.
class FaultyVfs : public MemoryVfs {
public:
    /// What is on a disk: names, and their bytes.
    using Disk = std::map<std::string, std::string>;
    /// How much of what was not synced reached the disk all the same, of a file: nothing, the first half of
    /// the writes, all, or of all of them every other sector.
    enum class Luck { kSyncedOnly, kHalf, kAll, kEveryOtherSector };

    explicit FaultyVfs(const Disk& disk = {});

    /// Call number `call` (from 0) fails, once: for want of memory, or as the system makes it fail
    /// ("disk full" where that can be, an I/O error elsewhere).
    enum class Fault { kDiskFull, kInputOutput, kNoMemory };
    void FailAt(std::size_t call, Fault fault);
    void CutAt(std::size_t call) { _cutAt = call; }
    void Disarm() { _failAt = _cutAt = static_cast<std::size_t>(-1); }

    [[nodiscard]] std::size_t Calls() const { return _calls; }
    /// What the machine finds when it starts again. `newNames`: whether names that were made or removed
    /// without being synced are as they were then.
    [[nodiscard]] Disk AfterReboot(Luck database, Luck log, bool newNames);
    /// As if everything had been synced.
    [[nodiscard]] Disk Now() const;

protected:
    int Before(Call call, const std::string& name) override;

private:
    struct Written {
        std::string synced;
        std::vector<std::string> unsynced;  ///< after each write since then
    };

    void Notice();
    void Sync(const std::string& name);
    [[nodiscard]] int ErrorFor(Call call) const;

    std::size_t _calls = 0;
    std::size_t _failAt = static_cast<std::size_t>(-1);
    std::size_t _cutAt = static_cast<std::size_t>(-1);
    Fault _fault = Fault::kInputOutput;
    bool _off = false;
    std::map<const std::string*, Written> _written;
    Files _syncedNames;
};

}  // namespace zumra::storage
