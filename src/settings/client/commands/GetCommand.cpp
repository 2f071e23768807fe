#include "settings/client/commands/GetCommand.h"

#include <ostream>

#include "settings/client/commands/ReplyDocument.h"
#include "settings/client/commands/RequestText.h"
#include "settings/client/commands/UnkeptReply.h"

namespace zumra::settings::client {

DataCommand::DataCommand() : RemoteCommand("data") {}

bool DataCommand::HandleResponse(std::istream& in) {
    KeepReply(in, [&] { _received = ReadReplyDocument(in); });
    return true;
}

void GetCommand::SendRequest(std::ostream& out) {
    out << "get delimited\n";
    WriteList(out, _groups);
}

void GetValueCommand::SendRequest(std::ostream& out) {
    out << kLine << '\n' << _locator.ToString() << "\n.\n";
}

}  // namespace zumra::settings::client
