#include "zumra-settings/Names.h"

#include <algorithm>
#include <string_view>

#include "settings/client/IBackend.h"
#include "zumra-settings/Output.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::cli {

namespace {

using settings::common::GroupNameMatcher;
using settings::common::SettingLocator;

bool BeginsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

core::IniFile GroupsFrom(const settings::ZumraSettingsClient& client, const std::string& prefix) {
    core::IniFile document;
    client.GetSettings(prefix + "*", document);
    return document;
}

/// The name up to the "/" that follows the first `length` bytes; the whole name when none does.
std::string UpToSlash(const std::string& name, std::size_t length) {
    const auto slash = name.find('/', length);
    return slash == std::string::npos ? name : name.substr(0, slash + 1);
}

/// One more, unless it is the last one again (names come in order) or no line or word of a shell could hold
/// it.
void Add(Candidates& candidates, const std::string& word, bool isBeginning) {
    if (word.find_first_of(std::string_view("\n\0", 2)) != std::string::npos ||
        (!candidates.words.empty() && candidates.words.back() == word)) {
        return;
    }
    candidates.words.push_back(word);
    if (isBeginning) {
        candidates.kind = "prefixes";
    }
}

Candidates NamesOf(const settings::ZumraSettingsClient& client, const std::string& word) {
    const std::string group = SettingLocator::Parse(word).group;
    GroupNameMatcher exactly;
    exactly.AddName(group);
    core::IniFile document;
    client.Backend().Get(exactly, document);
    Candidates candidates;
    for (const auto& [name, values] : document) {
        for (const auto& [value, text] : values) {
            const std::string locator = SettingLocator{group, value}.ToString();
            if (BeginsWith(locator, word)) {
                Add(candidates, locator, false);
            }
        }
    }
    return candidates;
}

}  // namespace

Candidates GroupsLike(const settings::ZumraSettingsClient& client, const std::string& word) {
    Candidates candidates;
    // What begins with a quote may be any group that needs quotes.
    const bool quoted = BeginsWith(word, "\"");
    for (const auto& [name, values] : GroupsFrom(client, quoted ? "" : word)) {
        const std::string whole = GroupWord(name);
        const std::string text = UpToSlash(name, word.size());
        if (quoted || (whole != name && text == name)) {
            if (whole != name && BeginsWith(whole, word)) {
                Add(candidates, whole, false);
            }
        } else {
            Add(candidates, text, text.size() < name.size());
        }
    }
    if (!candidates.words.empty() && !quoted && !word.empty() && word.back() == '/') {
        candidates.words.push_back(word + "*");
    }
    return candidates;
}

Candidates StartsLike(const settings::ZumraSettingsClient& client, const std::string& word) {
    Candidates candidates;
    for (const auto& [name, values] : GroupsFrom(client, word)) {
        const std::string text = UpToSlash(name, word.size());
        Add(candidates, text, text.size() < name.size());
    }
    return candidates;
}

Candidates LocatorsLike(const settings::ZumraSettingsClient& client, const std::string& word) {
    if (word.find(']') != std::string::npos) {
        return NamesOf(client, word);
    }
    Candidates candidates;
    // What begins with a quote may be any group that needs quotes.
    const bool unknown = word.size() < 2 || word[1] == '"';
    const std::string start = unknown ? "" : word.substr(1);
    for (const auto& [name, values] : GroupsFrom(client, start)) {
        const std::string text = UpToSlash(name, start.size());
        const std::string whole = SettingLocator{name, ""}.ToString();
        const bool quoted = whole != "[" + name + "]";
        const std::string candidate = quoted || text.size() == name.size() ? whole : "[" + text;
        if (BeginsWith(candidate, word)) {
            Add(candidates, candidate, true);
        }
    }
    return candidates;
}

Candidates ResourcesLike(const settings::ZumraSettingsClient& client, const std::string& word) {
    const std::string resources = "Resources/";
    Candidates candidates;
    for (const auto& [name, values] : GroupsFrom(client, resources + word)) {
        const std::string resource = name.substr(resources.size());
        Add(candidates, resource.substr(0, resource.find("/Consumers/")), false);
    }
    return candidates;
}

}  // namespace zumra::cli
