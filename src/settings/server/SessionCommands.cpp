#include "settings/server/SessionCommands.h"

#include <algorithm>

namespace zumra::settings::server {
namespace {

using A = Argument;

/// Ascending by line.
constexpr CommandSpec kCommands[] = {
    {"capabilities", Command::kCapabilities, {}, false, true},
    {"erase", Command::kErase, {A::kGroups}, false, true},
    {"erase-value", Command::kEraseValue, {A::kLocators}, false, true},
    {"flush", Command::kFlush, {}, false, true},
    {"get", Command::kGet, {A::kGroups}, false, false},
    {"get delimited", Command::kGetDelimited, {A::kGroups}, false, false},
    {"get-value", Command::kGetValue, {A::kLocators}, false, true},
    {"merge", Command::kMerge, {A::kLastSettings}, false, false},
    {"overwrite", Command::kOverwrite, {A::kGroups, A::kSettings}, false, false},
    {"restore", Command::kRestore, {A::kGroups}, false, false},
    {"revision", Command::kRevision, {}, false, true},
    {"subscribe", Command::kSubscribe, {A::kGroups}, false, false},
    {"sync", Command::kSync, {}, false, true},
    {"test-and-merge", Command::kTestAndMerge, {A::kExpected, A::kSettings}, false, false},
    {"test-and-merge explain", Command::kTestAndMerge, {A::kExpected, A::kSettings}, true, true},
    {"test-exactly-and-merge",
     Command::kTestExactlyAndMerge,
     {A::kGroups, A::kExpected, A::kSettings},
     false,
     true},
    {"test-exactly-and-merge explain",
     Command::kTestExactlyAndMerge,
     {A::kGroups, A::kExpected, A::kSettings},
     true,
     true},
    {"test-exactly-and-overwrite",
     Command::kTestExactlyAndOverwrite,
     {A::kGroups, A::kExpected, A::kSettings},
     false,
     true},
    {"test-exactly-and-overwrite explain",
     Command::kTestExactlyAndOverwrite,
     {A::kGroups, A::kExpected, A::kSettings},
     true,
     true},
    {"unsubscribe", Command::kUnsubscribe, {A::kGroups}, false, true},
};

static_assert(std::ranges::is_sorted(kCommands, {}, &CommandSpec::line));

constexpr CommandSpec kSerialize = {"serialize", Command::kSerialize, {}, false, false};
constexpr CommandSpec kOther = {"", Command::kOther, {}, false, false};

}  // namespace

const CommandSpec& FindCommand(std::string_view line) noexcept {
    const auto* at = std::ranges::lower_bound(kCommands, line, {}, &CommandSpec::line);
    if (at != std::end(kCommands) && at->line == line) {
        return *at;
    }
    return line.starts_with("serialize ") ? kSerialize : kOther;
}

std::span<const CommandSpec> AllCommands() noexcept {
    return kCommands;
}

}  // namespace zumra::settings::server
