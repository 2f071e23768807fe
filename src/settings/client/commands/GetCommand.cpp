#include "settings/client/commands/GetCommand.h"

#include <ostream>

#include "settings/client/commands/ReplyDocument.h"
#include "settings/client/commands/RequestText.h"
#include "settings/client/commands/UnkeptReply.h"

namespace zumra::settings::client {

GetCommand::GetCommand(const common::GroupNameMatcher& groups) : RemoteCommand("data"), _groups(groups) {}

void GetCommand::SendRequest(std::ostream& out) {
    out << "get delimited\n";
    WriteList(out, _groups);
}

bool GetCommand::HandleResponse(std::istream& in) {
    KeepReply(in, [&] { _received = ReadReplyDocument(in); });
    return true;
}

}  // namespace zumra::settings::client
