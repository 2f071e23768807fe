#pragma once

#include <string>

#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::client {

/// Where the settings of one resource are:
///
/// | group                                  | values                                                      |
/// |----------------------------------------|-------------------------------------------------------------|
/// | `Resources/<resource>`                 | `TotalAvailable`                                            |
/// | `Resources/<resource>/AllowedConsumers`| "00", "01", ...: each the name of a consumer                |
/// | `Resources/<resource>/Consumers/<name>`| `CurrentlyUsed`, `MaxAllowed`                               |
///
/// Names stand there as they are; a consumer's name may hold any text, also "/". No group belongs to two
/// resources, because a resource's name has no part "Consumers" after a "/" and does not end in
/// "/AllowedConsumers".
class ResourceLayout {
public:
    /// Throws `osa::Exception` for a name whose group would be one of another resource.
    explicit ResourceLayout(const std::string& resource);

    [[nodiscard]] const std::string& Group() const noexcept { return _group; }
    [[nodiscard]] std::string AllowedConsumersGroup() const { return _group + "/AllowedConsumers"; }
    /// What the names of all consumers' groups begin with.
    [[nodiscard]] std::string ConsumersPrefix() const { return _group + "/Consumers/"; }
    [[nodiscard]] std::string ConsumerGroup(const std::string& consumer) const {
        return ConsumersPrefix() + consumer;
    }

    /// Adds what covers every group of the resource, also those that do not exist yet, and nothing else.
    void AddGroupsTo(common::GroupNameMatcher& groups) const;
    [[nodiscard]] common::GroupNameMatcher Groups() const;

    static constexpr const char* kTotalAvailable = "TotalAvailable";
    static constexpr const char* kCurrentlyUsed = "CurrentlyUsed";
    static constexpr const char* kMaxAllowed = "MaxAllowed";

private:
    std::string _group;
};

}  // namespace zumra::settings::client
