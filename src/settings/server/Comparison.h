#pragma once

#include <optional>

#include "settings/server/AccessPolicy.h"
#include "settings/server/Store.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {

// What first, in the order of names, differs from what was expected; none when all is as expected. Groups
// that may not be read count as absent.

/// Every value of `expected` is in the store with the same text.
[[nodiscard]] std::optional<Difference> FindDifference(const Store& store, const core::IniFile& expected,
                                                       const Access& access);
/// The groups that match are those of `expected`, with exactly their values.
[[nodiscard]] std::optional<Difference> FindExactDifference(const Store& store,
                                                            const common::GroupNameMatcher& groups,
                                                            const core::IniFile& expected,
                                                            const Access& access);

}  // namespace zumra::settings::server
