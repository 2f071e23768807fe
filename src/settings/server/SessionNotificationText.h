#pragma once

#include <memory>
#include <string>

#include "settings/common/ChangeRouter.h"
#include "settings/server/SessionFormat.h"

namespace zumra::settings::server {

/// The notification of a change for a connection that is told of these of its names.
///
/// The thread that commits tells one connection after another, and most of them get the same text; so the
/// text that a thread made last is kept for that thread, unless it is long, and copied while it fits.
[[nodiscard]] std::string NotificationText(const std::shared_ptr<const common::Change>& change,
                                           const common::CoveredNames& names, Format format);

}  // namespace zumra::settings::server
