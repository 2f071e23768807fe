#include "settings/client/connection/Renewal.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace zumra::settings::client {

void Renewal::Ask(const Matcher& entry, std::size_t size, std::size_t limit) {
    if (_parts.empty() || _size + size > limit) {
        _parts.emplace_back();
        _size = 0;
    }
    _parts.back().groups.Add(entry);
    _size += size;
    _largest = std::max(_largest, _size);
}

void Renewal::Start(Connection& connection) {
    try {
        for (Part& part : _parts) {
            connection.Start(part.exchange);
            ++_started;
        }
    } catch (...) {
        Fail(connection);
    }
}

ExchangeEnd Renewal::Await(Connection& connection) {
    ExchangeEnd end = ExchangeEnd::kReplied;
    for (auto part = _parts.begin(); _started != 0; ++part, --_started) {
        try {
            const ExchangeEnd ended = connection.Await(part->exchange);
            end = ended == ExchangeEnd::kReplied ? end : ended;
        } catch (...) {
            Fail(connection);
        }
    }
    if (_failure) {
        std::rethrow_exception(_failure);
    }
    return end;
}

/// To be called from where something was caught. The other parts are then of no use either.
void Renewal::Fail(Connection& connection) noexcept {
    if (!_failure) {
        _failure = std::current_exception();
    }
    connection.Shutdown();
}

bool Renewal::Put(const Matcher& groups, common::GroupMap current) {
    std::vector<common::GroupMap::iterator> before;
    groups.ForEachMatch(_groups, [&](common::GroupMap::iterator at) { before.push_back(at); });
    for (const auto at : before) {
        _groups.erase(at);
    }
    _groups.merge(current);
    return ++_answered == _parts.size();
}

void Renewal::Take(const common::Change& change) {
    for (const auto& [name, group] : change.groups) {
        if (group) {
            _groups[name] = group;
        } else {
            _groups.erase(name);
        }
    }
}

}  // namespace zumra::settings::client
