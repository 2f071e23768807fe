#include "settings/server/AccessPolicy.h"

#include <algorithm>
#include <string>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::server {

namespace {

bool IsAmong(const Identity& who, const RestrictedGroups::Users& users) {
    return users.everyone || (who.uid.has_value() && users.uids.count(*who.uid) != 0) ||
           std::any_of(who.gids.begin(), who.gids.end(),
                       [&users](std::uint32_t gid) { return users.gids.count(gid) != 0; });
}

}  // namespace

AccessPolicy::AccessPolicy(RestrictedGroups groups) : _groups(std::move(groups)) {
    for (const Rule& rule : _groups.rules) {
        _index.Add(rule.groups, &rule);
    }
}

bool AccessPolicy::MayRead(std::string_view group, const Identity* who) const {
    bool allowed = true;
    if (who != nullptr) {
        _index.ForEach(group, [&](const Rule* rule) { allowed = allowed && IsAmong(*who, rule->readers); });
    }
    return allowed;
}

bool AccessPolicy::MayWrite(std::string_view group, const Identity* who) const {
    bool allowed = true;
    if (who != nullptr) {
        _index.ForEach(group, [&](const Rule* rule) {
            allowed = allowed && IsAmong(*who, rule->readers) && IsAmong(*who, rule->writers);
        });
    }
    return allowed;
}

void Access::RequireWrite(std::string_view group) const {
    if (_who != nullptr && !_policy.MayWrite(group, _who)) {
        throw osa::Exception("not allowed to write group '" + std::string(group) + "'");
    }
}

}  // namespace zumra::settings::server
