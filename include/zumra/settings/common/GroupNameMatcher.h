#pragma once

#include <cstddef>
#include <iosfwd>
#include <set>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"

namespace zumra::settings::common {

/// Selects groups by exact name or by prefix pattern.
///
/// An entry that ends in "*" is a pattern and stands for every group whose name begins with what is before
/// that "*" ("abc*"; "*" alone stands for all groups, the empty-named one included). A "*" anywhere else is
/// an ordinary character. Any other entry stands for the group of exactly that name.
///
/// Thread-safety: as of a standard container; const operations may run at the same time.
///
///     GroupNameMatcher groups("Resources/DSP*");
///     groups.AddNameOrPattern("Server");
///     groups.ForEachMatch(document.AllGroups(), [&](auto at) { Use(at->first, at->second); });
class ZUMRA_EXPORT GroupNameMatcher {
public:
    using Strings = std::set<std::string, std::less<>>;
    /// How many entries, names and patterns, and how many bytes their texts have together.
    struct Extent {
        std::size_t entries = 0;
        std::size_t bytes = 0;
    };

    /// Matches nothing.
    GroupNameMatcher();
    explicit GroupNameMatcher(std::string_view nameOrPattern);
    explicit GroupNameMatcher(const std::set<std::string>& namesAndPatterns);
    GroupNameMatcher(const GroupNameMatcher&);
    GroupNameMatcher(GroupNameMatcher&&) noexcept;
    GroupNameMatcher& operator=(const GroupNameMatcher&);
    GroupNameMatcher& operator=(GroupNameMatcher&&) noexcept;
    ~GroupNameMatcher();

    void AddNameOrPattern(std::string_view nameOrPattern);
    /// Adds every member of the set as `AddNameOrPattern` does.
    void AddNamesAndPatterns(const std::set<std::string>& namesAndPatterns);
    /// Adds an exact name, also one that ends in "*".
    void AddName(std::string_view name);
    /// Adds all entries of another matcher; when it throws for want of memory, none.
    void Add(const GroupNameMatcher& other);
    /// The same without copying: the entries' strings stay where they are in memory. `other` is left with
    /// those that were here already. Cannot fail.
    void Add(GroupNameMatcher&& other) noexcept;
    /// Removes an entry that `AddNameOrPattern` added; false when it is not there. What other entries cover
    /// stays covered.
    bool Remove(std::string_view nameOrPattern);
    /// Removes an exact name, also one that ends in "*"; false when it is not there.
    bool RemoveName(std::string_view name);
    /// Removes all entries of another matcher that are here, entry by entry, and returns how much that was.
    /// Costs look-ups for the entries of the smaller of the two. Cannot fail.
    Extent Remove(const GroupNameMatcher& other) noexcept;

    /// Whether an entry stands for this group. Costs look-ups among the entries, however many they are.
    [[nodiscard]] bool Matches(std::string_view name) const;
    /// Inserts the names of the document's groups that match; what is in the set already stays.
    void GetMatchingGroups(const core::IniFile& document, std::set<std::string>& matching) const;
    /// Writes the groups that match, with all their values, as `IniFile::SaveToStream` does.
    void SerializeIni(std::ostream& out, const core::IniFile& document) const;

    /// Exact names, and patterns kept whole with their "*"; both ascending in byte order.
    [[nodiscard]] const Strings& Names() const noexcept { return _names; }
    [[nodiscard]] const Strings& Patterns() const noexcept { return _patterns; }
    [[nodiscard]] bool empty() const noexcept { return _names.empty() && _patterns.empty(); }
    /// Walks over all entries.
    [[nodiscard]] Extent GetExtent() const noexcept;

    /// Calls `visit(iterator)` for each entry of `map` (ordered by name, heterogeneous look-up) whose key
    /// matches, once each, in ascending order. `visit` must not change which keys the map has. Costs a
    /// look-up an entry of this matcher plus the visits, not the size of the map.
    template <class Map, class Visit>
    void ForEachMatch(Map& map, Visit visit) const;

private:
    static bool BeginsWith(std::string_view text, std::string_view prefix) noexcept {
        return text.substr(0, prefix.size()) == prefix;
    }

    Strings _names;
    Strings _patterns;
    /// The patterns without their "*". A set of its own because the "*" changes the order: "a!*" comes before
    /// "a*", but "a" before "a!".
    Strings _prefixes;
};

template <class Map, class Visit>
void GroupNameMatcher::ForEachMatch(Map& map, Visit visit) const {
    auto name = _names.begin();
    auto prefix = _prefixes.begin();
    const std::string* walked = nullptr;  // the prefix that was walked last
    const auto covered = [&walked](std::string_view text) {
        return walked != nullptr && BeginsWith(text, *walked);
    };
    while (name != _names.end() || prefix != _prefixes.end()) {
        // A prefix comes before the names that begin with it, so that it can be seen that it covers them.
        if (name != _names.end() && (prefix == _prefixes.end() || *name < *prefix)) {
            if (!covered(*name)) {
                const auto at = map.find(*name);
                if (at != map.end()) {
                    visit(at);
                }
            }
            ++name;
            continue;
        }
        if (!covered(*prefix)) {
            walked = &*prefix;
            for (auto at = map.lower_bound(*prefix); at != map.end() && BeginsWith(at->first, *prefix);
                 ++at) {
                visit(at);
            }
        }
        ++prefix;
    }
}

}  // namespace zumra::settings::common
