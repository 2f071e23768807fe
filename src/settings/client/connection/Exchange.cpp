#include "settings/client/connection/Exchange.h"

#include <ostream>
#include <string_view>

#include "settings/client/commands/ReplyLine.h"
#include "settings/client/commands/WordCommand.h"
#include "settings/common/LineCodec.h"

namespace zumra::settings::client {

void Exchange::Write(std::ostream& out) {
    for (std::size_t i = 0; i < _count; ++i) {
        _commands[i]->SendRequest(out);
        if (_commands[i]->ExpectedResponse().empty()) {
            WordCommand::Sync().SendRequest(out);
        }
    }
}

bool Exchange::TakeReply(const std::string& line, std::istream& in) {
    RemoteCommand& command = *_commands[_next];
    const bool silent = command.ExpectedResponse().empty();
    const std::string_view expected =
        silent ? std::string_view(WordCommand::kSynced) : std::string_view(command.ExpectedResponse());
    if (line == "error" && !_nextHasFailed) {
        std::string message;
        ReadReplyLine(in, message);
        message = common::LineCodec::Decode(message);
        if (*message.c_str() == '\0') {
            message = "the server gave no reason";
        }
        if (!_error) {
            _error = std::move(message);
        }
        if (silent) {
            _nextHasFailed = true;
            return false;
        }
    } else if (line != expected) {
        ThrowUnexpectedReply(expected, line);
    } else if (!silent) {
        command.HandleResponse(in);
    }
    _nextHasFailed = false;
    if (++_next != _count) {
        return false;
    }
    if (!_error && _onSuccess) {
        _onSuccess();
    }
    return true;
}

}  // namespace zumra::settings::client
