#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

namespace zumra::settings::server {

enum class Command : std::uint8_t {
    kMerge,
    kGet,
    kGetDelimited,
    kGetValue,
    kSubscribe,
    kUnsubscribe,
    kOverwrite,
    kRestore,
    kErase,
    kEraseValue,
    kTestAndMerge,
    kTestExactlyAndMerge,
    kTestExactlyAndOverwrite,
    kSerialize,
    kSync,
    kFlush,
    kRevision,
    kCapabilities,
    kOther,  ///< no command of this table
};

/// What a command asks for, in the order in which it comes.
enum class Argument : std::uint8_t {
    kNone,
    kGroups,        ///< a list of names and patterns
    kLocators,      ///< a list of locators
    kExpected,      ///< a document to compare with
    kSettings,      ///< a document to store
    kLastSettings,  ///< the same, in the form that the end of the input may end
};

struct CommandSpec {
    std::string_view line;
    Command command;
    std::array<Argument, 3> arguments;
    bool explain;    ///< a refusal is to say what differed
    bool extension;  ///< a client may ask whether there is such a command
};

/// Never null: the one of `Command::kSerialize` for "serialize" with any format, that of `Command::kOther`
/// when there is no such command.
[[nodiscard]] const CommandSpec& FindCommand(std::string_view line) noexcept;
[[nodiscard]] std::span<const CommandSpec> AllCommands() noexcept;

/// One whole request.
struct Request {
    const CommandSpec* spec = nullptr;
    std::string text;  ///< "serialize": the format's name; `Command::kOther`: the command line
    common::GroupNameMatcher groups;
    std::vector<common::SettingLocator> locators;
    core::IniFile expected;
    core::IniFile settings;
};

}  // namespace zumra::settings::server
