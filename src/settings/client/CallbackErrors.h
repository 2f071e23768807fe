#pragma once

#include <exception>
#include <memory>

#include "zumra/osa/Mutex.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settings::client {

/// Where what callbacks throw is reported: to the program's handler, or else on standard error.
///
/// Thread-safety: every operation may be called from any thread; the handler is called under no lock.
class CallbackErrors {
public:
    using Handler = ZumraSettingsClient::CallbackErrorHandler;

    void SetHandler(Handler handler);
    void Report(const std::exception_ptr& error) noexcept;

private:
    osa::Mutex _mutex{"callback errors"};
    std::shared_ptr<const Handler> _handler ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
