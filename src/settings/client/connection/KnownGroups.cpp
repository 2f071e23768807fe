#include "settings/client/connection/KnownGroups.h"

#include <iterator>
#include <vector>

namespace zumra::settings::client {

void KnownGroups::Take(const common::Change& change) {
    osa::MutexLock lock(_mutex);
    for (const auto& [name, group] : change.groups) {
        if (group) {
            _groups[name] = group;
        } else {
            _groups.erase(name);
        }
    }
}

void KnownGroups::Replace(const Matcher& scope, const common::GroupMap& current) {
    Forget(scope, SubscribedEntries());
    osa::MutexLock lock(_mutex);
    for (const auto& [name, group] : current) {
        _groups[name] = group;
    }
}

void KnownGroups::Forget(const Matcher& gone, const SubscribedEntries& wanted) {
    osa::MutexLock lock(_mutex);
    std::vector<common::GroupMap::iterator> forgotten;
    gone.ForEachMatch(_groups, [&](common::GroupMap::iterator at) {
        if (!wanted.Cover(at->first)) {
            forgotten.push_back(at);
        }
    });
    for (const auto at : forgotten) {
        _groups.erase(at);
    }
}

void KnownGroups::KeepOnly(const Matcher& wanted) {
    osa::MutexLock lock(_mutex);
    for (auto it = _groups.begin(); it != _groups.end();) {
        it = wanted.Matches(it->first) ? std::next(it) : _groups.erase(it);
    }
}

common::Change KnownGroups::DifferenceTo(const common::GroupMap& current) const {
    common::Change difference;
    osa::MutexLock lock(_mutex);
    for (const auto& [name, group] : current) {
        const auto known = _groups.find(name);
        if (known == _groups.end() || known->second != group) {
            difference.groups.emplace_hint(difference.groups.end(), name, group);
        }
    }
    for (const auto& [name, group] : _groups) {
        if (current.find(name) == current.end()) {
            difference.groups.emplace(name, common::SharedGroup());
        }
    }
    return difference;
}

}  // namespace zumra::settings::client
