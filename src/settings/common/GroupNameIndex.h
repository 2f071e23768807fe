#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::common {

/// Finds, for the name of a group, everyone who asked for that name or for a prefix of it. `Who` is a small
/// value, such as a pointer.
///
/// It keeps no texts of its own but looks at those of the matchers: an entry that was added must stay where
/// it is until it is removed. Moving a matcher, or its entries into another one, leaves them there.
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
            _names.insert({name, who});
        }
        for (const std::string& pattern : groups.Patterns()) {
            AddPrefix(Prefix(pattern), who);
        }
    }

    /// What `who` had not asked for is passed over.
    void Remove(const GroupNameMatcher& groups, Who who) noexcept {
        for (const std::string& name : groups.Names()) {
            _names.erase(Entry{name, who});
        }
        for (const std::string& pattern : groups.Patterns()) {
            RemovePrefix(Prefix(pattern), who);
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
    struct Entry {
        std::string_view text;
        Who who;
    };
    /// By text, and for one text by who asked.
    struct Before {
        using is_transparent = void;
        bool operator()(const Entry& a, const Entry& b) const noexcept {
            const int order = a.text.compare(b.text);
            return order < 0 || (order == 0 && std::less<Who>()(a.who, b.who));
        }
        bool operator()(const Entry& a, std::string_view b) const noexcept { return a.text < b; }
        bool operator()(std::string_view a, const Entry& b) const noexcept { return a < b.text; }
    };
    using Entries = std::set<Entry, Before>;

    static std::string_view Prefix(const std::string& pattern) noexcept {
        return std::string_view(pattern).substr(0, pattern.size() - 1);
    }

    template <class Visit>
    static void ForEachIn(const Entries& entries, std::string_view text, Visit& visit) {
        for (auto at = entries.lower_bound(text); at != entries.end() && at->text == text; ++at) {
            visit(at->who);
        }
    }

    void AddPrefix(std::string_view prefix, Who who) {
        const auto length = _lengths.try_emplace(prefix.size(), 0).first;
        const auto added = _prefixes.insert({prefix, who});
        length->second += added.second ? 1 : 0;
    }

    void RemovePrefix(std::string_view prefix, Who who) noexcept {
        const auto length = _lengths.find(prefix.size());
        if (length == _lengths.end()) {
            return;
        }
        length->second -= _prefixes.erase(Entry{prefix, who});
        if (length->second == 0) {
            _lengths.erase(length);
        }
    }

    Entries _names;
    Entries _prefixes;
    std::map<std::size_t, std::size_t> _lengths;  ///< of the prefixes, with how many entries have each
};

}  // namespace zumra::settings::common
