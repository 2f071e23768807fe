#pragma once

#include <memory>
#include <string_view>

#include "settings/common/GroupNameIndex.h"
#include "zumra/settings/server/IRestrictedSettingsLoader.h"

namespace zumra::settings::server {

/// Decides who may use which group. Immutable once made; any thread may ask.
///
/// Cost of asking: that of finding the rules that match the group, not of the rules there are.
class AccessPolicy {
public:
    explicit AccessPolicy(RestrictedGroups groups = {});
    AccessPolicy(const AccessPolicy&) = delete;
    AccessPolicy& operator=(const AccessPolicy&) = delete;

    /// A null `who` may do everything; what no rule matches is everybody's.
    [[nodiscard]] bool MayRead(std::string_view group, const Identity* who) const;
    /// Whether `who` may both read and write.
    [[nodiscard]] bool MayWrite(std::string_view group, const Identity* who) const;

private:
    using Rule = RestrictedGroups::Rule;

    const RestrictedGroups _groups;
    common::GroupNameIndex<const Rule*> _index;
};

/// What one user of the store may do during one operation. Holds only what it was given by reference.
class Access {
public:
    Access(const AccessPolicy& policy, const Identity* who) : _policy(policy), _who(who) {}

    [[nodiscard]] bool MayRead(std::string_view group) const {
        return _who == nullptr || _policy.MayRead(group, _who);
    }
    /// Throws `zumra::osa::Exception` "not allowed to write group '<group>'".
    void RequireWrite(std::string_view group) const;

private:
    const AccessPolicy& _policy;
    const Identity* _who;
};

}  // namespace zumra::settings::server
