#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "zumra/settings/server/ISettingsSerializer.h"

namespace zumra::settings::server {

/// Knows the text forms by the names that the protocol gives them: "ini" and "phparray".
/// Immutable after construction; any thread may use it.
class ZUMRA_EXPORT SerializationManager {
public:
    SerializationManager();
    ~SerializationManager();
    SerializationManager(const SerializationManager&) = delete;
    SerializationManager& operator=(const SerializationManager&) = delete;

    /// Null when there is no form of that name.
    [[nodiscard]] ISettingsSerializer* Find(std::string_view name) const;
    [[nodiscard]] std::vector<std::string_view> Names() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::server
