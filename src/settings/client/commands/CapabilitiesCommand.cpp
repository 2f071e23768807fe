#include "settings/client/commands/CapabilitiesCommand.h"

#include <ostream>
#include <string>

#include "settings/client/commands/ReplyLine.h"
#include "settings/client/commands/UnkeptReply.h"
#include "settings/common/LineCodec.h"

namespace zumra::settings::client {

CapabilitiesCommand::CapabilitiesCommand(const char* wanted)
    : RemoteCommand("capabilities"), _wanted(wanted) {}

void CapabilitiesCommand::SendRequest(std::ostream& out) {
    out << "capabilities\n";
}

bool CapabilitiesCommand::HandleResponse(std::istream& in) {
    KeepReply(in, [&] {
        std::string line;
        for (ReadReplyLine(in, line); line != common::LineCodec::kEnd; ReadReplyLine(in, line)) {
            _has = _has || line == _wanted;
        }
    });
    return _has;
}

}  // namespace zumra::settings::client
