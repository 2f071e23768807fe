#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settings/server/AccessPolicy.h"
#include "settings/server/Store.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::settings::server {

// What the operations of the store come to, as editions of it. None changes the store; an empty edition means
// that there is nothing to change. `settings` is used up. Each throws "not allowed to write group '<group>'"
// as `Access` says.

void RequireWriteOfAll(const core::IniFile::Groups& settings, const Access& access);

[[nodiscard]] Edition PlanMerge(Store& store, core::IniFile::Groups& settings, const Access& access);
[[nodiscard]] Edition PlanSetValue(Store& store, std::string_view group, std::string_view name,
                                   std::string& value, const Access& access);
[[nodiscard]] Edition PlanOverwrite(Store& store, const common::GroupNameMatcher& groups,
                                    core::IniFile::Groups& settings, const Access& access);
[[nodiscard]] Edition PlanErase(Store& store, const common::GroupNameMatcher& groups, const Access& access);
[[nodiscard]] Edition PlanEraseValue(Store& store, std::string_view group, std::string_view name,
                                     const Access& access);
[[nodiscard]] Edition PlanEraseValues(Store& store, const std::vector<common::SettingLocator>& values,
                                      const Access& access);
[[nodiscard]] Edition PlanRestore(Store& store, const common::GroupNameMatcher& groups, const Access& access);
/// New defaults under what differs from the present ones.
[[nodiscard]] Edition PlanNewDefaults(Store& store, const GroupMap& defaults);

}  // namespace zumra::settings::server
