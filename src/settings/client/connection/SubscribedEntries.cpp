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

void SubscribedEntries::Add(const Matcher& entries) {
    for (const std::string& name : entries.Names()) {
        ++_names[name];
    }
    for (const std::string& pattern : entries.Patterns()) {
        ++_patterns[pattern];
    }
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

SubscribedEntries::Matcher SubscribedEntries::Missing(const Matcher& part, const Matcher& all) {
    Matcher missing;
    for (const std::string& name : all.Names()) {
        if (part.Names().count(name) == 0) {
            missing.AddName(name);
        }
    }
    for (const std::string& pattern : all.Patterns()) {
        if (part.Patterns().count(pattern) == 0) {
            missing.AddNameOrPattern(pattern);
        }
    }
    return missing;
}

}  // namespace zumra::settings::client
