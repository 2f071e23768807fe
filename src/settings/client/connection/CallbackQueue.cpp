#include "settings/client/connection/CallbackQueue.h"

#include <string>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

void CallbackQueue::Push(common::ChangeRouter::Deliveries deliveries, std::size_t bytes) {
    osa::MutexLock lock(_mutex);
    if (_bytes + bytes > _limit) {
        throw osa::Exception("callbacks are too slow: over " + std::to_string(_limit) +
                             " bytes of changes wait for them");
    }
    _items.push_back({std::move(deliveries), bytes});
    _bytes += bytes;
    _changed.NotifyOne();
}

void CallbackQueue::DeliverFirst() {
    const Item item = std::move(_items.front());
    _items.pop_front();
    _mutex.Unlock();
    common::ChangeRouter::Deliver(item.deliveries);
    _mutex.Lock();
    _bytes -= item.bytes;
}

void CallbackQueue::DeliverAll() {
    osa::MutexLock lock(_mutex);
    while (!_items.empty()) {
        DeliverFirst();
    }
}

void CallbackQueue::Run() {
    osa::MutexLock lock(_mutex);
    while (!_stopped) {
        if (_items.empty()) {
            _changed.Wait(_mutex);
        } else {
            DeliverFirst();
        }
    }
}

void CallbackQueue::Stop() {
    osa::MutexLock lock(_mutex);
    _stopped = true;
    _changed.NotifyOne();
}

}  // namespace zumra::settings::client
