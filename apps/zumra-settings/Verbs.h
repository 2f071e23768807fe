#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <vector>

#include "zumra-settings/Context.h"

namespace zumra::cli {

/// Does what a verb was asked for, and says what the program exits with.
using Action = std::function<int(Context&)>;

/// What the words behind a verb are, for completing them.
enum class Words {
    kNone,
    kFile,
    kLocators,
    kSettings,  ///< locator, value, locator, value ...
    kGroups,    ///< names and patterns
    kAny,       ///< locators, names and patterns
    kStart,     ///< what names begin with
    kResource,
    kReservation,  ///< resource, consumer, amount
};

struct Verb {
    const char* name;
    const char* help;
    const char* example;
    /// Adds the verb's arguments and gives what it does with them.
    Action (*add)(CLI::App& app);
    Words words = Words::kNone;
    /// A store that is not there yet is none to read from.
    bool onlyReads = false;
    /// Why the verb is of no use with a store that this process has for itself; null when it is.
    const char* needsServer = nullptr;
};

/// Every verb, in the order in which help lists them.
[[nodiscard]] const std::vector<Verb>& AllVerbs();
/// Null when there is no such verb.
[[nodiscard]] const Verb* FindVerb(const std::string& name);

// Reading.
Action AddGet(CLI::App& app);
Action AddList(CLI::App& app);
Action AddExport(CLI::App& app);
Action AddDiff(CLI::App& app);

// Changing.
Action AddSet(CLI::App& app);
Action AddUnset(CLI::App& app);
Action AddMerge(CLI::App& app);
Action AddOverwrite(CLI::App& app);
Action AddErase(CLI::App& app);
Action AddRestore(CLI::App& app);
Action AddTestAndMerge(CLI::App& app);
Action AddImport(CLI::App& app);
Action AddEdit(CLI::App& app);

// Following.
Action AddWatch(CLI::App& app);

// Resources.
Action AddResources(CLI::App& app);
Action AddReserve(CLI::App& app);

// The server.
Action AddStats(CLI::App& app);
Action AddClients(CLI::App& app);
Action AddPing(CLI::App& app);
Action AddFlush(CLI::App& app);

}  // namespace zumra::cli
