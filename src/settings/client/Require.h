#pragma once

#include <string>

#include "zumra/osa/Exception.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settings::client {

/// `pointer` itself; throws "<who>: no <what>" when it is null.
template <class T>
T* RequireNotNull(T* pointer, const char* who, const std::string& what) {
    if (pointer == nullptr) {
        throw osa::Exception(std::string(who) + ": no " + what);
    }
    return pointer;
}

inline IBackend& RequireBackend(ZumraSettingsClient* client, const char* who) {
    return RequireNotNull(client, who, "client")->Backend();
}

}  // namespace zumra::settings::client
