#include "settings/client/commands/TestAndMergeCommand.h"

#include <istream>
#include <ostream>
#include <string>

namespace zumra::settings::client {

TestAndMergeCommand::TestAndMergeCommand(const core::IniFile& testSettings,
                                         const core::IniFile& mergeSettings)
    : RemoteCommand("result"), _testSettings(&testSettings), _mergeSettings(&mergeSettings) {}

TestAndMergeCommand::~TestAndMergeCommand() = default;

void TestAndMergeCommand::SendRequest(std::ostream& out) {
    out << "test-and-merge\n";
    _testSettings->SaveToStream(out);
    out << ".\n";
    _mergeSettings->SaveToStream(out);
    out << "." << std::endl;
}

bool TestAndMergeCommand::HandleResponse(std::istream& in) {
    std::string outcome;
    std::getline(in, outcome);
    if (outcome == "ok") {
        _successful = true;
    }
    return _successful;
}

}  // namespace zumra::settings::client
