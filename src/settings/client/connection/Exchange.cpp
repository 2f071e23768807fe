#include "settings/client/connection/Exchange.h"

#include <ostream>
#include <string_view>

#include "settings/client/commands/ReplyLine.h"
#include "settings/client/commands/UnkeptReply.h"
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
        TakeError(in);
        if (silent) {
            _nextHasFailed = true;
            return false;
        }
    } else if (line != expected) {
        ThrowUnexpectedReply(expected, line);
    } else if (!silent) {
        TakeRest(in);
    }
    _nextHasFailed = false;
    if (++_next != _count) {
        return false;
    }
    Succeed();
    return true;
}

void Exchange::TakeError(std::istream& in) {
    try {
        std::string message;
        ReadReplyLine(in, message);
        message = common::LineCodec::Decode(message);
        if (*message.c_str() == '\0') {
            message = "the server gave no reason";
        }
        if (!_error) {
            _error = std::move(message);
        }
    } catch (const std::bad_alloc&) {
        if (in.bad()) {
            SkipReplyLine(in);
        }
        _outOfMemory = true;
    }
}

void Exchange::TakeRest(std::istream& in) {
    try {
        _commands[_next]->HandleResponse(in);
    } catch (const UnkeptReply&) {
        _outOfMemory = true;
    }
}

void Exchange::Succeed() {
    if (_error || _outOfMemory || !_onSuccess) {
        return;
    }
    try {
        _onSuccess();
    } catch (const std::bad_alloc&) {
        _outOfMemory = true;
    }
}

}  // namespace zumra::settings::client
