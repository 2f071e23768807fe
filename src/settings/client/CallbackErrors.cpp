#include "settings/client/CallbackErrors.h"

#include <cstdio>
#include <utility>

namespace zumra::settings::client {

namespace {

void WriteLine(const char* what) noexcept {
    std::fprintf(stderr, "zumra-settings: a change callback threw: %s\n", what);
}

void WriteToStandardError(const std::exception_ptr& error) noexcept {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        WriteLine(e.what());
    } catch (...) {
        WriteLine("unknown exception");
    }
}

}  // namespace

void CallbackErrors::SetHandler(Handler handler) {
    std::shared_ptr<const Handler> fresh;
    if (handler) {
        fresh = std::make_shared<const Handler>(std::move(handler));
    }
    // The old handler is destroyed outside the lock: it may hold anything.
    osa::MutexLock lock(_mutex);
    _handler.swap(fresh);
}

void CallbackErrors::Report(const std::exception_ptr& error) noexcept {
    std::shared_ptr<const Handler> handler;
    {
        osa::MutexLock lock(_mutex);
        handler = _handler;
    }
    if (!handler) {
        WriteToStandardError(error);
        return;
    }
    try {
        (*handler)(error);
    } catch (...) {
        WriteToStandardError(std::current_exception());
    }
}

}  // namespace zumra::settings::client
