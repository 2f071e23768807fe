#include "settings/server/SessionSaveWait.h"

#include <utility>

#include "settings/server/SessionWaker.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {

std::shared_ptr<SaveWait> SaveWait::Start(SettingsManager& manager, std::uint64_t revision,
                                          std::shared_ptr<Waker> waker, std::string reply) {
    auto wait = std::make_shared<SaveWait>(std::move(reply));
    manager.WhenSaved(revision, [wait, waker = std::move(waker)](std::exception_ptr error) {
        wait->Finish(std::move(error), *waker);
    });
    osa::MutexLock lock(wait->_mutex);
    wait->_started = true;
    return wait;
}

void SaveWait::Finish(std::exception_ptr error, Waker& waker) {
    bool wake = false;
    {
        osa::MutexLock lock(_mutex);
        _done = true;
        _error = std::move(error);
        wake = _started;
    }
    if (wake) {
        waker.Call();
    }
}

bool SaveWait::Done() const {
    osa::MutexLock lock(_mutex);
    return _done;
}

std::string SaveWait::TakeReply() {
    osa::MutexLock lock(_mutex);
    if (_error) {
        std::rethrow_exception(_error);
    }
    return std::move(_reply);
}

}  // namespace zumra::settings::server
