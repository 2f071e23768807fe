#include "settings/client/commands/WordCommand.h"

#include <ostream>

namespace zumra::settings::client {

WordCommand::WordCommand(const char* verb, const char* expectedResponse)
    : RemoteCommand(expectedResponse), _verb(verb) {}

void WordCommand::SendRequest(std::ostream& out) {
    out << _verb << '\n';
}

}  // namespace zumra::settings::client
