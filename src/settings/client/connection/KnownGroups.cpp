#include "settings/client/connection/KnownGroups.h"

#include <iterator>

namespace zumra::settings::client {

common::GroupMap KnownGroups::MakeRoom(const common::Change& change) const {
    common::GroupMap room;
    osa::MutexLock lock(_mutex);
    for (const auto& [name, group] : change.groups) {
        if (group && _groups.find(name) == _groups.end()) {
            room.emplace_hint(room.end(), name, group);
        }
    }
    return room;
}

void KnownGroups::Take(const common::Change& change, common::GroupMap room) noexcept {
    osa::MutexLock lock(_mutex);
    for (const auto& [name, group] : change.groups) {
        // One that is gone and has no room was forgotten meanwhile, since nobody wants it any more.
        const auto known = _groups.find(name);
        if (known != _groups.end() && group) {
            known->second = group;
        } else if (known != _groups.end()) {
            _groups.erase(known);
        }
    }
    _groups.merge(room);
}

void KnownGroups::Replace(const Matcher& scope, const common::GroupMap& current) {
    common::GroupMap fresh = current;
    osa::MutexLock lock(_mutex);
    Erase(Find(scope, SubscribedEntries()));
    _groups.merge(fresh);
}

void KnownGroups::Forget(const Matcher& gone, const SubscribedEntries& wanted) {
    osa::MutexLock lock(_mutex);
    Erase(Find(gone, wanted));
}

KnownGroups::Places KnownGroups::Find(const Matcher& scope, const SubscribedEntries& butFor) {
    Places places;
    scope.ForEachMatch(_groups, [&](common::GroupMap::iterator at) {
        if (!butFor.Cover(at->first)) {
            places.push_back(at);
        }
    });
    return places;
}

void KnownGroups::Erase(const Places& places) noexcept {
    for (const auto at : places) {
        _groups.erase(at);
    }
}

void KnownGroups::KeepOnly(const Matcher& wanted) {
    osa::MutexLock lock(_mutex);
    for (auto it = _groups.begin(); it != _groups.end();) {
        it = wanted.Matches(it->first) ? std::next(it) : _groups.erase(it);
    }
}

std::size_t KnownGroups::SizeOf(const Matcher& groups) const {
    std::size_t size = 0;
    osa::MutexLock lock(_mutex);
    groups.ForEachMatch(_groups, [&size](auto at) { size += TextSize(at->first, at->second); });
    return size;
}

std::size_t KnownGroups::TextSize(const std::string& name, const common::SharedGroup& group) {
    const std::size_t between = 4;  // the characters of a line that are neither name nor value
    std::size_t size = name.size() + between;
    if (group) {
        for (const auto& [key, value] : *group) {
            size += key.size() + value.size() + between;
        }
    }
    return size;
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
