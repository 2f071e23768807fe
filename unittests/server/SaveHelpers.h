#pragma once

#include <chrono>
#include <exception>
#include <string>

#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server::testing {

inline SaveOptions Deferred(std::chrono::milliseconds delay = std::chrono::milliseconds(0)) {
    SaveOptions options;
    options.deferred = true;
    options.delay = delay;
    return options;
}

inline constexpr std::chrono::hours kNever{24};

inline std::string ErrorOf(const std::exception_ptr& error) {
    try {
        if (error) {
            std::rethrow_exception(error);
        }
        return "none";
    } catch (const osa::Exception& exception) {
        return exception.what();
    }
}

inline std::string FlushError(SettingsManager& store) {
    try {
        store.Flush();
        return "none";
    } catch (const osa::Exception& exception) {
        return exception.what();
    }
}

}  // namespace zumra::settings::server::testing
