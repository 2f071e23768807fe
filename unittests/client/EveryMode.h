#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <string>

#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settings {

/// Runs a test once in each operation mode.
using EveryMode = testing::TestWithParam<ZumraSettingsClient::OperationMode>;

inline std::string ModeName(const testing::TestParamInfo<ZumraSettingsClient::OperationMode>& info) {
    switch (info.param) {
        case ZumraSettingsClient::kLocal:
            return "kLocal";
        case ZumraSettingsClient::kLocalSingleThreadedPipe:
            return "kLocalSingleThreadedPipe";
        case ZumraSettingsClient::kLocalMultiThreadedPipe:
            return "kLocalMultiThreadedPipe";
        case ZumraSettingsClient::kRemote:
            return "kRemote";
    }
    return "unknown";
}

#define ZUMRA_INSTANTIATE_IN_EVERY_MODE(fixture)                                                    \
    INSTANTIATE_TEST_SUITE_P(                                                                       \
        Mode, fixture,                                                                              \
        testing::Values(ZumraSettingsClient::kLocal, ZumraSettingsClient::kLocalSingleThreadedPipe, \
                        ZumraSettingsClient::kLocalMultiThreadedPipe),                              \
        ModeName)

/// Longer than anything takes: a wait that lasts this long has failed.
constexpr std::chrono::milliseconds kLongEnough(120000);

inline bool IsReadable(int descriptor) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLIN) != 0;
}

/// A document with one value.
inline core::IniFile OneSetting(const std::string& group, const std::string& name, const std::string& value) {
    core::IniFile document;
    document[group][name] = value;
    return document;
}

}  // namespace zumra::settings
