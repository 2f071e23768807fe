#pragma once

#include <string>

#include "zumra-settings/CommandLine.h"

namespace zumra::cli {

/// Says how the last word of a command line could go on, for the completions of shells. `line` is what was
/// typed of it up to the cursor, with the shell's quotes, and begins with the program.
///
/// The first line written is a kind and, behind a blank, the last word without its quotes. The kinds: "words"
/// (a blank may follow a word that is chosen), "prefixes" (some words are only beginnings), "files" and
/// "folders" (the shell knows these itself). The other lines are the words that are possible, without quotes.
/// Where names are asked for and nobody answers, there are none.
int Complete(const std::string& line, const Terminal& terminal);

}  // namespace zumra::cli
