#pragma once

#include <string>
#include <vector>

#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::cli {

/// How a word could go on.
struct Candidates {
    std::string kind = "words";
    std::vector<std::string> words;
};

// Each reads the groups whose names begin with what there is of the word, and shows what is below the next
// "/" only when that is reached.

/// Groups, in quotes where they need them; behind a "/" also the pattern for everything below.
[[nodiscard]] Candidates GroupsLike(const settings::ZumraSettingsClient& client, const std::string& word);
/// What names of groups begin with, as it is.
[[nodiscard]] Candidates StartsLike(const settings::ZumraSettingsClient& client, const std::string& word);
/// Locators: their groups first, then their names.
[[nodiscard]] Candidates LocatorsLike(const settings::ZumraSettingsClient& client, const std::string& word);
[[nodiscard]] Candidates ResourcesLike(const settings::ZumraSettingsClient& client, const std::string& word);

}  // namespace zumra::cli
