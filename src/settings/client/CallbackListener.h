#pragma once

#include <atomic>
#include <memory>

#include "settings/client/CallbackErrors.h"
#include "settings/client/MemoryWait.h"
#include "settings/common/ChangeRouter.h"
#include "zumra/settings/IChangeCallback.h"

namespace zumra::settings::client {

/// Stands for a program's callback where the library tells of changes. Always held by `std::shared_ptr`: a
/// callback may unsubscribe itself, and the listener must survive the call that it is in.
class CallbackListener final : public common::IChangeListener,
                               public std::enable_shared_from_this<CallbackListener> {
public:
    /// `memory`: where a change waits whose call finds no memory; null where nobody may wait, and the
    /// callback is then not told of it. Outlives the listener.
    CallbackListener(IChangeCallback* callback, std::shared_ptr<CallbackErrors> errors,
                     MemoryWait* memory = nullptr);

    /// Never throws: what the callback throws, and that there was no memory, is reported.
    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override;

    /// A change that waits for memory is to be told no more. `Return`: others will be.
    void Leave() noexcept;
    void Return() noexcept { _left = false; }

private:
    bool TryTell(const common::Change& change, const common::CoveredNames& covered,
                 MemoryWait::Pauses& pauses);

    IChangeCallback* const _callback;
    const std::shared_ptr<CallbackErrors> _errors;
    MemoryWait* const _memory;
    std::atomic<bool> _left{false};
};

}  // namespace zumra::settings::client
