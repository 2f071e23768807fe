#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "client/FakeBackend.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settings {

/// A client with a backend that can be made to fail.
class FaultyBackendTests : public testing::Test {
protected:
    void Fail(const std::string& failing) {
        _backend->onCall = [failing](const std::string& operation) {
            if (operation == failing) {
                throw osa::Exception("no server");
            }
        };
    }
    void Mend() { _backend->onCall = nullptr; }

    client::FakeBackend* _backend = new client::FakeBackend;  // owned by the client
    ZumraSettingsClient _client{std::unique_ptr<client::IBackend>(_backend)};
};

}  // namespace zumra::settings
