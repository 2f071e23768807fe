#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::common {

/// The part of `groups` that `known` lacks, entry by entry.
[[nodiscard]] inline GroupNameMatcher Without(const GroupNameMatcher& groups, const GroupNameMatcher& known) {
    GroupNameMatcher rest;
    for (const std::string& name : groups.Names()) {
        if (known.Names().find(name) == known.Names().end()) {
            rest.AddName(name);
        }
    }
    for (const std::string& pattern : groups.Patterns()) {
        if (known.Patterns().find(pattern) == known.Patterns().end()) {
            rest.AddNameOrPattern(pattern);
        }
    }
    return rest;
}

/// Finds, for the name of a group, everyone who asked for that name or for a prefix of it. `Who` is a small
/// ordered value, such as a pointer.
///
/// Thread-safety: as of a standard container.
///
/// Cost: `ForEach` makes one look-up for the name and one for each length of prefix that anyone asked for
/// and that the name reaches; it does not walk over those who asked for something else.
template <class Who>
class GroupNameIndex {
public:
    /// Requires that `who` asked for none of these yet. When this throws for want of memory, some may be
    /// added; `Remove` with the same arguments takes them back.
    void Add(const GroupNameMatcher& groups, Who who) {
        for (const std::string& name : groups.Names()) {
            _names[name].insert(who);
        }
        for (const std::string& pattern : groups.Patterns()) {
            const std::string_view prefix = Prefix(pattern);
            std::size_t& ofThisLength = _lengths[prefix.size()];
            const auto [at, isNew] = _prefixes.try_emplace(std::string(prefix));
            ofThisLength += isNew ? 1 : 0;
            at->second.insert(who);
        }
    }

    /// What `who` had not asked for is passed over.
    void Remove(const GroupNameMatcher& groups, Who who) noexcept {
        for (const std::string& name : groups.Names()) {
            RemoveFrom(_names, name, who);
        }
        for (const std::string& pattern : groups.Patterns()) {
            const std::string_view prefix = Prefix(pattern);
            if (RemoveFrom(_prefixes, prefix, who)) {
                const auto length = _lengths.find(prefix.size());
                if (--length->second == 0) {
                    _lengths.erase(length);
                }
            }
        }
    }

    /// Calls `visit(who)`; for one who asked for the name in several ways, several times.
    template <class Visit>
    void ForEach(std::string_view group, Visit visit) const {
        ForEachIn(_names, group, visit);
        for (const auto& [length, count] : _lengths) {
            if (length > group.size()) {
                break;
            }
            ForEachIn(_prefixes, group.substr(0, length), visit);
        }
    }

    /// Whether anyone asked for this group.
    [[nodiscard]] bool Covers(std::string_view group) const {
        if (_names.find(group) != _names.end()) {
            return true;
        }
        for (const auto& [length, count] : _lengths) {
            if (length > group.size()) {
                break;
            }
            if (_prefixes.find(group.substr(0, length)) != _prefixes.end()) {
                return true;
            }
        }
        return false;
    }

private:
    using Table = std::map<std::string, std::set<Who>, std::less<>>;

    static std::string_view Prefix(const std::string& pattern) noexcept {
        return std::string_view(pattern).substr(0, pattern.size() - 1);
    }

    template <class Visit>
    static void ForEachIn(const Table& table, std::string_view key, Visit& visit) {
        const auto at = table.find(key);
        if (at != table.end()) {
            for (const Who& who : at->second) {
                visit(who);
            }
        }
    }

    /// True when the key went, too, because nobody asks for it any more.
    static bool RemoveFrom(Table& table, std::string_view key, const Who& who) noexcept {
        const auto at = table.find(key);
        if (at == table.end()) {
            return false;
        }
        at->second.erase(who);
        if (!at->second.empty()) {
            return false;
        }
        table.erase(at);
        return true;
    }

    Table _names;
    Table _prefixes;
    std::map<std::size_t, std::size_t> _lengths;  ///< of the prefixes, with how many have each
};

}  // namespace zumra::settings::common
