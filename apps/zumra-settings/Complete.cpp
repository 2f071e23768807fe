#include "zumra-settings/Complete.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <utility>

#include "zumra-settings/Connect.h"
#include "zumra-settings/Names.h"
#include "zumra-settings/Program.h"
#include "zumra-settings/ShellWords.h"

namespace zumra::cli {

namespace {

bool BeginsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

std::string LongName(const CLI::Option& option) {
    return option.get_lnames().empty() ? std::string() : option.get_lnames().front();
}

/// What stands on the line before the word that is completed.
class Before {
public:
    Before(const Program& program, const std::vector<std::string>& line) : _program(program) {
        for (std::size_t index = 1; index + 1 < line.size(); ++index) {
            Take(line[index]);
        }
    }

    const Verb* verb = nullptr;
    std::size_t words = 0;  ///< behind the verb, options not counted
    std::string option;     ///< whose value is completed, without dashes
    bool optionsEnded = false;
    std::map<std::string, std::string> values;

    [[nodiscard]] std::optional<std::string> Value(const char* name) const {
        const auto found = values.find(name);
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    [[nodiscard]] std::vector<const CLI::App*> Levels() const {
        std::vector<const CLI::App*> levels{&_program.app};
        if (verb != nullptr) {
            levels.push_back(_program.app.get_subcommand(verb->name));
        }
        return levels;
    }

private:
    void Take(const std::string& word) {
        if (!option.empty()) {
            values[std::exchange(option, "")] = word;
        } else if (word == "--" && !optionsEnded) {
            optionsEnded = true;
        } else if (word.size() > 1 && word.front() == '-' && !optionsEnded) {
            TakeOption(word);
        } else if (verb == nullptr) {
            verb = FindVerb(word);
        } else {
            ++words;
        }
    }
    void TakeOption(const std::string& word) {
        const auto equal = word.find('=');
        for (const CLI::App* level : Levels()) {
            const CLI::Option* found = level->get_option_no_throw(word.substr(0, equal));
            if (found == nullptr || found->get_items_expected_max() == 0) {
                continue;
            }
            if (equal == std::string::npos) {
                option = LongName(*found);
            } else {
                values[LongName(*found)] = word.substr(equal + 1);
            }
        }
    }

    const Program& _program;
};

/// Who types waits no longer for names that a server may have.
constexpr std::chrono::milliseconds kSilence{2000};

/// Where names are read from: as the line says, otherwise from the server that is asked when it says nothing.
class Source {
public:
    explicit Source(const Before& before) {
        if (const auto uri = before.Value("store")) {
            const StoreSources sources{*uri, before.Value("defaults"), before.Value("include"),
                                       before.Value("restricted")};
            _store = std::make_unique<LocalStore>(sources, true, [](const std::string&) {});
        } else {
            _client = Connect(before.Value("socket").value_or(DefaultSocket()), kSilence);
        }
    }
    [[nodiscard]] const settings::ZumraSettingsClient& Client() const {
        return _store != nullptr ? _store->Client() : *_client;
    }

private:
    std::unique_ptr<LocalStore> _store;
    std::unique_ptr<settings::ZumraSettingsClient> _client;
};

Candidates NamesLike(const Before& before, Words kind, const std::string& word) {
    const Source source(before);
    switch (kind) {
        case Words::kLocators:
            return LocatorsLike(source.Client(), word);
        case Words::kSettings:
            return before.words % 2 == 0 ? LocatorsLike(source.Client(), word) : Candidates();
        case Words::kStart:
            return StartsLike(source.Client(), word);
        case Words::kAny:
            return BeginsWith(word, "[") ? LocatorsLike(source.Client(), word)
                                         : GroupsLike(source.Client(), word);
        case Words::kResource:
        case Words::kReservation:
            return before.words == 0 ? ResourcesLike(source.Client(), word) : Candidates();
        default:
            return GroupsLike(source.Client(), word);
    }
}

Candidates OptionNames(const Before& before) {
    Candidates candidates;
    for (const CLI::App* level : before.Levels()) {
        for (const CLI::Option* option : level->get_options()) {
            const std::string name = "--" + LongName(*option);
            // Help and version come first at every level; the program's are enough.
            if (name.size() > 2 && (level == before.Levels().front() || name != "--help")) {
                candidates.words.push_back(name);
            }
        }
    }
    return candidates;
}

Candidates Verbs() {
    Candidates candidates;
    for (const Verb& verb : AllVerbs()) {
        candidates.words.emplace_back(verb.name);
    }
    return candidates;
}

Candidates OptionValues(const Before& before, const std::string& word) {
    static const std::map<std::string, Candidates> kKnown{
        {"form", {"words", {"people", "ini", "json", "nul"}}},
        {"color", {"words", {"auto", "always", "never"}}},
        {"store", {"prefixes", {"ini:", "sqlite:", "memory:"}}},
        {"include", {"folders", {}}},
        {"exec", {}},
        {"count", {}},
    };
    if (before.option == "exactly" || before.option == "replace") {
        return NamesLike(before, Words::kGroups, word);
    }
    const auto known = kKnown.find(before.option);
    const bool path = before.option == "store" && word.find(':') != std::string::npos;
    return known != kKnown.end() && !path ? known->second : Candidates{"files", {}};
}

/// "--option=value" is one word.
Candidates ValuesBehindEqual(Before before, const std::string& word) {
    const std::string name = word.substr(0, word.find('=') + 1);
    before.option = name.substr(2, name.size() - 3);
    Candidates candidates = OptionValues(before, word.substr(name.size()));
    for (std::string& value : candidates.words) {
        value.insert(0, name);
    }
    return candidates;
}

Candidates CandidatesFor(const Before& before, const std::string& word) {
    if (!before.option.empty()) {
        return OptionValues(before, word);
    }
    if (BeginsWith(word, "-") && !before.optionsEnded) {
        return word.find('=') == std::string::npos ? OptionNames(before) : ValuesBehindEqual(before, word);
    }
    if (before.verb == nullptr) {
        return Verbs();
    }
    if (before.verb->words == Words::kFile) {
        return {"files", {}};
    }
    return before.verb->words == Words::kNone ? Candidates() : NamesLike(before, before.verb->words, word);
}

}  // namespace

int Complete(const std::string& line, const Terminal& terminal) {
    const Program program;
    const std::vector<std::string> words = SplitShellWords(line);
    const Before before(program, words);
    const std::string& word = words.back();
    Candidates candidates;
    try {
        candidates = CandidatesFor(before, word);
    } catch (const NoServer&) {
        // Completing is no place to complain.
    } catch (const std::exception&) {
    }
    terminal.out << candidates.kind << ' ' << word << '\n';
    for (const std::string& candidate : candidates.words) {
        if (BeginsWith(candidate, word)) {
            terminal.out << candidate << '\n';
        }
    }
    return kDone;
}

}  // namespace zumra::cli
