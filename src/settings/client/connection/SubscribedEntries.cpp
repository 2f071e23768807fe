#include "settings/client/connection/SubscribedEntries.h"

namespace zumra::settings::client {

namespace {

using Counts = std::map<std::string, std::size_t, std::less<>>;

const std::string& EntryOf(const std::string& entry) noexcept {
    return entry;
}

const std::string& EntryOf(const Counts::value_type& entry) noexcept {
    return entry.first;
}

/// Counts each of `entries` once more; all of them or, when it throws, none.
template <class Entries>
void AddEach(Counts& counts, const Entries& entries) {
    auto at = entries.begin();
    try {
        for (; at != entries.end(); ++at) {
            ++counts[*at];
        }
    } catch (...) {
        for (auto added = entries.begin(); added != at; ++added) {
            const auto found = counts.find(*added);
            if (--found->second == 0) {
                counts.erase(found);
            }
        }
        throw;
    }
}

/// Counts each of `entries` once less; what nobody wants any more goes to `gone`.
template <class Entries>
void RemoveEach(Counts& counts, const Entries& entries, Counts& gone) noexcept {
    for (const auto& entry : entries) {
        const auto found = counts.find(EntryOf(entry));
        if (found != counts.end() && --found->second == 0) {
            gone.insert(gone.end(), counts.extract(found));
        }
    }
}

}  // namespace

SubscribedEntries::Matcher SubscribedEntries::Add(const Matcher& entries) {
    Matcher fresh;
    for (const std::string& name : entries.Names()) {
        if (_names.find(name) == _names.end()) {
            fresh.AddName(name);
        }
    }
    for (const std::string& pattern : entries.Patterns()) {
        if (_patterns.find(pattern) == _patterns.end()) {
            fresh.AddNameOrPattern(pattern);
        }
    }
    AddEach(_names, entries.Names());
    try {
        AddEach(_patterns, entries.Patterns());
    } catch (...) {
        Counts gone;
        RemoveEach(_names, entries.Names(), gone);
        throw;
    }
    return fresh;
}

SubscribedEntries SubscribedEntries::Remove(const Matcher& entries) noexcept {
    SubscribedEntries gone;
    RemoveEach(_names, entries.Names(), gone._names);
    RemoveEach(_patterns, entries.Patterns(), gone._patterns);
    return gone;
}

SubscribedEntries SubscribedEntries::Remove(const SubscribedEntries& entries) noexcept {
    SubscribedEntries gone;
    RemoveEach(_names, entries._names, gone._names);
    RemoveEach(_patterns, entries._patterns, gone._patterns);
    return gone;
}

bool SubscribedEntries::Cover(std::string_view group) const {
    if (_names.find(group) != _names.end()) {
        return true;
    }
    std::string pattern(group);
    for (;; pattern.pop_back()) {
        pattern.push_back('*');
        if (_patterns.find(pattern) != _patterns.end()) {
            return true;
        }
        pattern.pop_back();
        if (pattern.empty()) {
            return false;
        }
    }
}

SubscribedEntries::Matcher SubscribedEntries::All() const {
    Matcher all;
    for (const auto& [name, count] : _names) {
        all.AddName(name);
    }
    for (const auto& [pattern, count] : _patterns) {
        all.AddNameOrPattern(pattern);
    }
    return all;
}

}  // namespace zumra::settings::client
