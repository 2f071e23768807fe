#include "settings/client/commands/RemoteCommand.h"

#include <istream>
#include <utility>

namespace zumra::settings::client {

RemoteCommand::RemoteCommand(std::string expectedResponse) : _expectedResponse(std::move(expectedResponse)) {}

RemoteCommand::~RemoteCommand() = default;

bool RemoteCommand::HandleResponse(std::istream& /*in*/) {
    return true;
}

}  // namespace zumra::settings::client
