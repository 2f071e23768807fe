#include "settings/client/commands/SilentCommands.h"

#include <ostream>
#include <string>

#include "settings/client/commands/RequestText.h"

namespace zumra::settings::client {

ListCommand::ListCommand(const char* verb, const common::GroupNameMatcher& groups)
    : RemoteCommand(std::string()), _verb(verb), _groups(groups) {}

void ListCommand::SendRequest(std::ostream& out) {
    out << _verb << '\n';
    WriteList(out, _groups);
}

MergeCommand::MergeCommand(const core::IniFile& settings)
    : RemoteCommand(std::string()), _settings(settings) {}

void MergeCommand::SendRequest(std::ostream& out) {
    out << "merge\n";
    WriteDocument(out, _settings);
}

OverwriteCommand::OverwriteCommand(const common::GroupNameMatcher& groups, const core::IniFile& settings)
    : RemoteCommand(std::string()), _groups(groups), _settings(settings) {}

void OverwriteCommand::SendRequest(std::ostream& out) {
    out << "overwrite\n";
    WriteList(out, _groups);
    WriteDocument(out, _settings);
}

EraseValueCommand::EraseValueCommand(const common::SettingLocator& locator)
    : RemoteCommand(std::string()), _locator(locator) {}

void EraseValueCommand::SendRequest(std::ostream& out) {
    out << "erase-value\n" << _locator.ToString() << "\n.\n";
}

}  // namespace zumra::settings::client
