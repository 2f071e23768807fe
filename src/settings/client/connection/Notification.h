#pragma once

#include <cstdint>
#include <istream>
#include <memory>

#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::client {

/// The line that begins a notification.
inline constexpr const char* kNotificationLine = "async change";

/// Reads a notification after its first line: the names of the changed groups, then those that still exist.
/// Throws `zumra::osa::Exception` for anything else, and when the stream ends too early.
[[nodiscard]] std::shared_ptr<const common::Change> ReadNotification(std::istream& in,
                                                                     std::uint64_t revision);

}  // namespace zumra::settings::client
