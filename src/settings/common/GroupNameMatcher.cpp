#include "zumra/settings/common/GroupNameMatcher.h"

#include <algorithm>
#include <iterator>
#include <ostream>

#include "core/IniWriter.h"

namespace zumra::settings::common {
namespace {

constexpr std::size_t kChunk = 65536;

bool IsPattern(std::string_view text) noexcept {
    return !text.empty() && text.back() == '*';
}

std::string_view WithoutStar(std::string_view pattern) noexcept {
    return pattern.substr(0, pattern.size() - 1);
}

void Insert(GroupNameMatcher::Strings& set, std::string_view text) {
    const auto at = set.lower_bound(text);
    if (at == set.end() || *at != text) {
        set.emplace_hint(at, text);
    }
}

bool Erase(GroupNameMatcher::Strings& set, std::string_view text) {
    const auto at = set.find(text);
    if (at == set.end()) {
        return false;
    }
    set.erase(at);
    return true;
}

GroupNameMatcher::Strings::iterator Erase(GroupNameMatcher::Strings& set,
                                          GroupNameMatcher::Strings::iterator at,
                                          GroupNameMatcher::Extent& erased) noexcept {
    ++erased.entries;
    erased.bytes += at->size();
    return set.erase(at);
}

/// Takes out of `set` what is in `other`, too.
GroupNameMatcher::Extent EraseCommon(GroupNameMatcher::Strings& set,
                                     const GroupNameMatcher::Strings& other) noexcept {
    GroupNameMatcher::Extent erased;
    if (other.size() < set.size()) {
        for (const std::string& text : other) {
            const auto at = set.find(text);
            if (at != set.end()) {
                Erase(set, at, erased);
            }
        }
        return erased;
    }
    for (auto at = set.begin(); at != set.end();) {
        at = other.find(*at) == other.end() ? std::next(at) : Erase(set, at, erased);
    }
    return erased;
}

std::size_t CommonLength(std::string_view a, std::string_view b) noexcept {
    const auto end = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
    return static_cast<std::size_t>(end - a.begin());
}

}  // namespace

GroupNameMatcher::GroupNameMatcher() = default;
GroupNameMatcher::GroupNameMatcher(const GroupNameMatcher&) = default;
GroupNameMatcher::GroupNameMatcher(GroupNameMatcher&&) noexcept = default;
GroupNameMatcher& GroupNameMatcher::operator=(const GroupNameMatcher&) = default;
GroupNameMatcher& GroupNameMatcher::operator=(GroupNameMatcher&&) noexcept = default;
GroupNameMatcher::~GroupNameMatcher() = default;

GroupNameMatcher::GroupNameMatcher(std::string_view nameOrPattern) {
    AddNameOrPattern(nameOrPattern);
}

GroupNameMatcher::GroupNameMatcher(const std::set<std::string>& namesAndPatterns) {
    AddNamesAndPatterns(namesAndPatterns);
}

void GroupNameMatcher::AddNameOrPattern(std::string_view nameOrPattern) {
    if (!IsPattern(nameOrPattern)) {
        Insert(_names, nameOrPattern);
        return;
    }
    Insert(_prefixes, WithoutStar(nameOrPattern));
    try {
        Insert(_patterns, nameOrPattern);
    } catch (...) {
        Erase(_prefixes, WithoutStar(nameOrPattern));
        throw;
    }
}

void GroupNameMatcher::AddNamesAndPatterns(const std::set<std::string>& namesAndPatterns) {
    for (const std::string& nameOrPattern : namesAndPatterns) {
        AddNameOrPattern(nameOrPattern);
    }
}

void GroupNameMatcher::AddName(std::string_view name) {
    Insert(_names, name);
}

void GroupNameMatcher::Add(const GroupNameMatcher& other) {
    // Moving what was copied into place needs no memory, so a pattern never comes without its prefix.
    Add(GroupNameMatcher(other));
}

void GroupNameMatcher::Add(GroupNameMatcher&& other) noexcept {
    _names.merge(other._names);
    _patterns.merge(other._patterns);
    _prefixes.merge(other._prefixes);
}

bool GroupNameMatcher::Remove(std::string_view nameOrPattern) {
    if (!IsPattern(nameOrPattern)) {
        return Erase(_names, nameOrPattern);
    }
    // Also what an addition that failed half-way left of it.
    Erase(_prefixes, WithoutStar(nameOrPattern));
    return Erase(_patterns, nameOrPattern);
}

bool GroupNameMatcher::RemoveName(std::string_view name) {
    return Erase(_names, name);
}

GroupNameMatcher::Extent GroupNameMatcher::Remove(const GroupNameMatcher& other) noexcept {
    Extent removed = EraseCommon(_names, other._names);
    (void)EraseCommon(_prefixes, other._prefixes);
    const Extent patterns = EraseCommon(_patterns, other._patterns);
    removed.entries += patterns.entries;
    removed.bytes += patterns.bytes;
    return removed;
}

GroupNameMatcher::Extent GroupNameMatcher::GetExtent() const noexcept {
    Extent extent;
    extent.entries = _names.size() + _patterns.size();
    for (const Strings* entries : {&_names, &_patterns}) {
        for (const std::string& entry : *entries) {
            extent.bytes += entry.size();
        }
    }
    return extent;
}

bool GroupNameMatcher::Matches(std::string_view name) const {
    if (_names.find(name) != _names.end()) {
        return true;
    }
    // Every prefix of `name` is at most `name`. When the greatest prefix that is at most `name` is none of
    // name's, then those of name's that are left are no longer than what the two have in common.
    std::string_view rest = name;
    for (auto at = _prefixes.upper_bound(rest); at != _prefixes.begin(); at = _prefixes.upper_bound(rest)) {
        --at;
        if (BeginsWith(rest, *at)) {
            return true;
        }
        rest = rest.substr(0, CommonLength(rest, *at));
    }
    return false;
}

void GroupNameMatcher::GetMatchingGroups(const core::IniFile& document,
                                         std::set<std::string>& matching) const {
    ForEachMatch(document.AllGroups(), [&matching](auto at) { matching.insert(at->first); });
}

void GroupNameMatcher::SerializeIni(std::ostream& out, const core::IniFile& document) const {
    std::string text;
    const auto write = [&out, &text] {
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        text.clear();
    };
    ForEachMatch(document.AllGroups(), [&](auto at) {
        core::AppendGroup(text, at->first, at->second);
        if (text.size() >= kChunk) {
            write();
        }
    });
    write();
}

}  // namespace zumra::settings::common
