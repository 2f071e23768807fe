#pragma once

#include <memory>

#include "settings/client/CallbackErrors.h"
#include "settings/common/ChangeRouter.h"
#include "zumra/settings/IChangeCallback.h"

namespace zumra::settings::client {

/// Stands for a program's callback where the library tells of changes. Always held by `std::shared_ptr`: a
/// callback may unsubscribe itself, and the listener must survive the call that it is in.
class CallbackListener final : public common::IChangeListener,
                               public std::enable_shared_from_this<CallbackListener> {
public:
    CallbackListener(IChangeCallback* callback, std::shared_ptr<CallbackErrors> errors);

    /// Never throws: what the callback throws is reported.
    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override;

private:
    IChangeCallback* const _callback;
    const std::shared_ptr<CallbackErrors> _errors;
};

}  // namespace zumra::settings::client
