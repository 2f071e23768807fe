#pragma once

#include "settings/client/commands/RemoteCommand.h"
#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/common/SettingLocator.h"

/// Commands that have no reply. Each keeps what it is given by reference: it must outlive the command.
namespace zumra::settings::client {

/// A command line with a list of names and patterns: "subscribe", "unsubscribe", "erase", "restore".
class ListCommand final : public RemoteCommand {
public:
    /// `verb` is the command line, a literal.
    ListCommand(const char* verb, const common::GroupNameMatcher& groups);
    void SendRequest(std::ostream& out) override;

private:
    const char* const _verb;
    const common::GroupNameMatcher& _groups;
};

/// Adds groups and values.
class MergeCommand final : public RemoteCommand {
public:
    explicit MergeCommand(const core::IniFile& settings);
    void SendRequest(std::ostream& out) override;

private:
    const core::IniFile& _settings;
};

/// Puts the groups of a document in place of those that match.
class OverwriteCommand final : public RemoteCommand {
public:
    OverwriteCommand(const common::GroupNameMatcher& groups, const core::IniFile& settings);
    void SendRequest(std::ostream& out) override;

private:
    const common::GroupNameMatcher& _groups;
    const core::IniFile& _settings;
};

/// Removes one value.
class EraseValueCommand final : public RemoteCommand {
public:
    explicit EraseValueCommand(const common::SettingLocator& locator);
    void SendRequest(std::ostream& out) override;

private:
    const common::SettingLocator& _locator;
};

}  // namespace zumra::settings::client
