#pragma once

#include <iosfwd>
#include <set>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"

namespace zumra::settings::common {

/// Selects groups by exact name or by prefix pattern ("abc*", "*").
class ZUMRA_EXPORT GroupNameMatcher {
public:
    using Strings = std::set<std::string, std::less<>>;

    GroupNameMatcher();
    explicit GroupNameMatcher(std::string_view nameOrPattern);
    explicit GroupNameMatcher(const std::set<std::string>& namesAndPatterns);
    GroupNameMatcher(const GroupNameMatcher&);
    GroupNameMatcher(GroupNameMatcher&&) noexcept;
    GroupNameMatcher& operator=(const GroupNameMatcher&);
    GroupNameMatcher& operator=(GroupNameMatcher&&) noexcept;
    ~GroupNameMatcher();

    void AddNameOrPattern(std::string_view nameOrPattern);
    void AddNamesAndPatterns(const std::set<std::string>& namesAndPatterns);
    /// Adds an exact name, also one that ends in "*".
    void AddName(std::string_view name);
    void Add(const GroupNameMatcher& other);
    /// Removes entries given as they were added; false when one was not there.
    bool Remove(std::string_view nameOrPattern);

    [[nodiscard]] bool Matches(std::string_view name) const;
    void GetMatchingGroups(const core::IniFile& document, std::set<std::string>& matching) const;
    void SerializeIni(std::ostream& out, const core::IniFile& document) const;

    /// Exact names, and patterns kept whole with their "*"; both ascending in byte order.
    [[nodiscard]] const Strings& Names() const noexcept { return _names; }
    [[nodiscard]] const Strings& Patterns() const noexcept { return _patterns; }
    [[nodiscard]] bool empty() const noexcept { return _names.empty() && _patterns.empty(); }

    /// Calls `visit(iterator)` for each entry of `map` (ordered by name, heterogeneous look-up) whose key
    /// matches, once each, in ascending order. `visit` must not change the map.
    template <class Map, class Visit>
    void ForEachMatch(Map& map, Visit visit) const;

private:
    Strings _names;
    Strings _patterns;
};

}  // namespace zumra::settings::common
