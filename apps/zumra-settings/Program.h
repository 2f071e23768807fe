#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "zumra-settings/LocalStore.h"
#include "zumra-settings/Verbs.h"

namespace zumra::cli {

/// What is said before or behind the verb.
struct Options {
    std::string socket;
    double timeout = 30;  ///< seconds
    /// The server is asked when there is none named.
    StoreSources store;
    std::string form = "people";
    std::string color = "auto";
};

/// The command line that the program takes: made, it knows all options and verbs; parsed, what was asked for.
struct Program {
    Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Takes the words as they are. Throws what CLI11 throws.
    void Parse(int count, const char* const* words);
    /// The words that nothing took.
    [[nodiscard]] std::vector<std::string> Rest() const;

    CLI::App app;
    Options options;
    /// The one in use; null before parsing.
    const Verb* verb = nullptr;
    Action action;
};

/// The form of that name.
[[nodiscard]] Form FormOf(const std::string& name);

}  // namespace zumra::cli
