#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include "zumra/osa/Mutex.h"

namespace zumra::settings::server {

class SettingsManager;
class Waker;

/// A reply that may be given only when the store is saved. What saves the store keeps its own share of this,
/// so a session may end while it waits.
class SaveWait {
public:
    /// Asks for word that everything up to `revision` is saved; wakes the session's driver when it comes
    /// after this returned.
    static std::shared_ptr<SaveWait> Start(SettingsManager& manager, std::uint64_t revision,
                                           std::shared_ptr<Waker> waker, std::string reply);

    explicit SaveWait(std::string reply) : _reply(std::move(reply)) {}

    [[nodiscard]] bool Done() const;
    /// Once done: the reply; throws what made the save fail.
    [[nodiscard]] std::string TakeReply();

private:
    void Finish(std::exception_ptr error, Waker& waker);

    mutable osa::Mutex _mutex{"session save"};
    bool _started ZUMRA_GUARDED_BY(_mutex) = false;
    bool _done ZUMRA_GUARDED_BY(_mutex) = false;
    std::exception_ptr _error ZUMRA_GUARDED_BY(_mutex);
    std::string _reply;
};

}  // namespace zumra::settings::server
