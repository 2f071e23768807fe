#include "settings/client/connection/SubscribedEntries.h"

namespace zumra::settings::client {

namespace {

using Counts = std::map<std::string, std::size_t, std::less<>>;

/// True when it was the last.
bool TakeOne(Counts& counts, const std::string& entry) {
    const auto found = counts.find(entry);
    if (found == counts.end() || --found->second != 0) {
        return false;
    }
    counts.erase(found);
    return true;
}

}  // namespace

SubscribedEntries::Matcher SubscribedEntries::Add(const Matcher& entries) {
    Matcher fresh;
    for (const std::string& name : entries.Names()) {
        if (++_names[name] == 1) {
            fresh.AddName(name);
        }
    }
    for (const std::string& pattern : entries.Patterns()) {
        if (++_patterns[pattern] == 1) {
            fresh.AddNameOrPattern(pattern);
        }
    }
    return fresh;
}

SubscribedEntries::Matcher SubscribedEntries::Remove(const Matcher& entries) {
    Matcher gone;
    for (const std::string& name : entries.Names()) {
        if (TakeOne(_names, name)) {
            gone.AddName(name);
        }
    }
    for (const std::string& pattern : entries.Patterns()) {
        if (TakeOne(_patterns, pattern)) {
            gone.AddNameOrPattern(pattern);
        }
    }
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
