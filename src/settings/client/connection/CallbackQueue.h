#pragma once

#include <cstddef>
#include <list>
#include <memory>

#include "settings/common/ChangeRouter.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// Changes on their way to a program's callbacks: put in by whoever reads them, delivered by whoever may call
/// callbacks, in order.
///
/// Thread-safety: every operation may be called from any thread; callbacks are called under no lock.
class CallbackQueue {
    struct Item {
        common::ChangeRouter::Deliveries deliveries;
        std::size_t bytes = 0;
        std::shared_ptr<const void> buried;
    };

public:
    /// The memory that `Push` and `Bury` need, since they cannot fail.
    using Place = std::list<Item>;

    /// `limit` bounds the text of the changes that wait, in bytes.
    explicit CallbackQueue(std::size_t limit) : _limit(limit) {}

    /// Throws `std::length_error` "callbacks are too slow: over <limit> bytes of changes wait for them" when
    /// this much more must not wait. A single change may be larger than the limit.
    void Admit(std::size_t bytes);
    /// Requires that `bytes` were admitted by the same thread, that no other puts anything in, and a place of
    /// its own (`MakePlace`).
    /// `deliveries` are prepared and not posted: posting them here, one change at a time, is what keeps the
    /// order of the changes also between callbacks.
    void Push(common::ChangeRouter::Deliveries deliveries, std::size_t bytes, Place place) noexcept;
    /// Keeps what was removed from the router until no delivery pushed before can mean it: a new listener at
    /// the same address would be taken for it.
    void Bury(std::shared_ptr<const void> removed, Place grave) noexcept;
    [[nodiscard]] static Place MakePlace() { return Place(1); }
    /// Delivers what waits, and what comes meanwhile.
    void DeliverAll();

    /// Delivers until `Stop`; what then still waits is not delivered.
    void Run();
    void Stop();

private:
    void DeliverFirst() ZUMRA_REQUIRES(_mutex);

    const std::size_t _limit;
    osa::Mutex _mutex{"callback queue"};
    osa::Condition _changed;
    bool _stopped ZUMRA_GUARDED_BY(_mutex) = false;
    std::size_t _bytes ZUMRA_GUARDED_BY(_mutex) = 0;
    std::list<Item> _items ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
