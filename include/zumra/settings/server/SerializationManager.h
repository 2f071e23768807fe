#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "zumra/settings/server/ISettingsSerializer.h"

namespace zumra::settings::server {

/// Knows the text forms by the names that the protocol gives them: "ini" and "phparray".
///
/// Thread-safety: immutable after construction; any thread may use it and the serializers it hands out.
class ZUMRA_EXPORT SerializationManager {
public:
    SerializationManager();
    ~SerializationManager();
    SerializationManager(const SerializationManager&) = delete;
    SerializationManager& operator=(const SerializationManager&) = delete;

    /// The form of that name, owned by this manager; null when there is none.
    [[nodiscard]] ISettingsSerializer* Find(std::string_view name) const;
    /// The names, ascending; they stay valid for the life of the program.
    [[nodiscard]] std::vector<std::string_view> Names() const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::server
