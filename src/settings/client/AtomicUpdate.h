#pragma once

#include <functional>
#include <optional>
#include <string>

#include "settings/client/IBackend.h"
#include "zumra/core/IniFile.h"

namespace zumra::settings::client {

/// How often `AtomicUpdate` tries before it gives up.
constexpr int kAtomicUpdateAttempts = 100;

/// Given the groups as they are, says what to merge into the settings; absent: nothing, the update is
/// refused.
using Decision = std::function<std::optional<core::IniFile>(const core::IniFile& current)>;

/// Reads the groups that match, lets `decide` choose, and writes its choice if the groups are then still
/// exactly what was read: none changed, none gone, none new. Otherwise starts again with a fresh read; from
/// the third failure on after a random pause that grows with the failures and with how long a try takes, so
/// that many who contend get out of each other's way. A pause is a tenth of a second at most.
///
/// Returns false when `decide` refused. Throws `osa::Exception` "Failed to <what>: the settings changed
/// during each of 100 attempts", and whatever the backend or `decide` throws; nothing is written then.
bool AtomicUpdate(IBackend& backend, const IBackend::Matcher& groups, const Decision& decide,
                  const std::string& what);

}  // namespace zumra::settings::client
