#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settings/client/IBackend.h"
#include "settings/client/ResourceView.h"

namespace zumra::settings::client {

/// A use of one resource that is to be reserved: an amount in units, or a fraction of the total.
struct WantedUse {
    ResourceLayout layout;
    int amount = 0;
    std::optional<double> fraction{};
};

/// The resource's settings as they are now, read in one step.
[[nodiscard]] core::IniFile ReadResource(IBackend& backend, const ResourceLayout& layout);

/// Sets what the consumer uses of every resource wanted, or of none: false when one does not fit. `what`
/// completes the text "Failed to <what>: ..." for when others change the settings all the time.
bool Reserve(IBackend& backend, const std::string& consumer, const std::vector<WantedUse>& wanted,
             const std::string& what);

}  // namespace zumra::settings::client
