#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "zumra/settings/server/IRestrictedSettingsLoader.h"

namespace zumra::fuzz {

/// One group that only user 0 may use, and one that everyone may read but only `writer` may write.
class Rights : public settings::server::IRestrictedSettingsLoader {
public:
    Rights(const char* hidden, const char* readOnly, std::uint32_t writer)
        : _hidden(std::string_view(hidden)), _readOnly(std::string_view(readOnly)), _writer(writer) {}

    settings::server::RestrictedGroups LoadRestrictedGroups() override {
        return {{{_hidden, {false, {0}, {}}, {true, {}, {}}},
                 {_readOnly, {true, {}, {}}, {false, {_writer}, {}}}}};
    }
    static std::shared_ptr<const settings::server::Identity> User(std::uint32_t number) {
        return std::make_shared<const settings::server::Identity>(
            settings::server::Identity{number, {}, std::nullopt});
    }

private:
    const settings::common::GroupNameMatcher _hidden;
    const settings::common::GroupNameMatcher _readOnly;
    const std::uint32_t _writer;
};

}  // namespace zumra::fuzz
