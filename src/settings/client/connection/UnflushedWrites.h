#pragma once

#include <cstdint>

#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// Remembers whether changes that a server applied may have gone with it before they were saved.
///
/// Thread-safety: every operation may be called from any thread.
class UnflushedWrites {
public:
    /// A change was applied over the connection with this number.
    void Note(std::uint64_t connection) {
        osa::MutexLock lock(_mutex);
        if (_connection == 0) {
            _connection = connection;
        }
        ++_count;
    }

    /// The changes so far. True in `lost` when some were applied over an earlier connection; they are then
    /// forgotten.
    struct Seen {
        std::uint64_t count = 0;
        bool lost = false;
    };
    Seen Look(std::uint64_t connection) {
        osa::MutexLock lock(_mutex);
        const bool lost = _connection != 0 && _connection < connection;
        if (lost) {
            _connection = 0;
        }
        return {_count, lost};
    }

    /// Everything that was seen is saved.
    void Flushed(const Seen& seen) {
        osa::MutexLock lock(_mutex);
        if (_count == seen.count) {
            _connection = 0;
        }
    }

private:
    osa::Mutex _mutex{"unflushed writes"};
    /// The earliest with a change that is not known to be saved; 0: none.
    std::uint64_t _connection ZUMRA_GUARDED_BY(_mutex) = 0;
    std::uint64_t _count ZUMRA_GUARDED_BY(_mutex) = 0;
};

}  // namespace zumra::settings::client
