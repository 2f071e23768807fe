#pragma once

#include <memory>

#include "zumra/settings/server/IRestrictedSettingsLoader.h"

namespace zumra::settingsd {

/// Who made the connection, as the system knows it: user, all groups of users, process. What the system does
/// not tell is absent, and then matches no rule that names somebody.
[[nodiscard]] std::shared_ptr<const settings::server::Identity> PeerIdentity(int socket);

}  // namespace zumra::settingsd
