#include "settings/client/connection/CallbackQueue.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace zumra::settings::client {

void CallbackQueue::Admit(std::size_t bytes) {
    osa::MutexLock lock(_mutex);
    if (_bytes != 0 && _bytes + bytes > _limit) {
        throw std::length_error("callbacks are too slow: over " + std::to_string(_limit) +
                                " bytes of changes wait for them");
    }
}

void CallbackQueue::Push(common::ChangeRouter::Deliveries deliveries, std::size_t bytes,
                         Place place) noexcept {
    place.front().deliveries = std::move(deliveries);
    place.front().bytes = bytes;
    osa::MutexLock lock(_mutex);
    _items.splice(_items.end(), place);
    _bytes += bytes;
    _changed.NotifyOne();
}

void CallbackQueue::Bury(std::shared_ptr<const void> removed, Place grave) noexcept {
    grave.front().buried = std::move(removed);
    osa::MutexLock lock(_mutex);
    _items.splice(_items.end(), grave);
    _changed.NotifyOne();
}

void CallbackQueue::DeliverFirst() {
    {
        std::list<Item> first;
        first.splice(first.begin(), _items, _items.begin());
        Item& item = first.front();
        _bytes -= item.bytes;
        // Under the lock, so that threads that deliver at the same time post in order.
        common::ChangeRouter::Post(item.deliveries);
        _mutex.Unlock();
        common::ChangeRouter::Deliver(item.deliveries);
    }
    _mutex.Lock();
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
