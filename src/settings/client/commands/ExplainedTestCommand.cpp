#include "settings/client/commands/ExplainedTestCommand.h"

#include <istream>
#include <ostream>
#include <string_view>

#include "settings/client/commands/ReplyLine.h"
#include "settings/client/commands/RequestText.h"
#include "settings/client/commands/UnkeptReply.h"
#include "settings/common/LineCodec.h"

namespace zumra::settings::client {

namespace LineCodec = common::LineCodec;

ExplainedTestCommand::ExplainedTestCommand(const core::IniFile& expected, const core::IniFile& settings)
    : RemoteCommand("result"), _groups(nullptr), _expected(expected), _settings(settings) {}

ExplainedTestCommand::ExplainedTestCommand(Then then, const common::GroupNameMatcher& groups,
                                           const core::IniFile& expected, const core::IniFile& settings)
    : RemoteCommand("result"), _then(then), _groups(&groups), _expected(expected), _settings(settings) {}

void ExplainedTestCommand::SendRequest(std::ostream& out) {
    if (_groups == nullptr) {
        out << "test-and-merge explain\n";
    } else {
        out << (_then == kMerge ? "test-exactly-and-merge explain\n"
                                : "test-exactly-and-overwrite explain\n");
        WriteList(out, *_groups);
    }
    WriteDocument(out, _expected);
    WriteDocument(out, _settings);
}

bool ExplainedTestCommand::HandleResponse(std::istream& in) {
    std::string line;
    ReadReplyLine(in, line);
    if (line == "ok") {
        ReadReplyLine(in, line);
        if (line != LineCodec::kEnd) {
            ThrowUnexpectedReply(LineCodec::kEnd, line);
        }
        _successful = true;
    } else if (line == "refused") {
        KeepReply(in, [&] { ReadDifference(in); });
    } else {
        ThrowUnexpectedReply("ok' or 'refused", line);
    }
    return _successful;
}

void ExplainedTestCommand::ReadDifference(std::istream& in) {
    std::string line;
    ReadReplyLine(in, line);
    _difference = {LineCodec::Decode(line), {}, {}, {}};
    for (ReadReplyLine(in, line); line != LineCodec::kEnd; ReadReplyLine(in, line)) {
        ReadPart(line);
    }
}

void ExplainedTestCommand::ReadPart(const std::string& line) {
    const std::size_t blank = line.find(' ');
    const std::string_view key = std::string_view(line).substr(0, blank);
    std::optional<std::string>* part = key == "name"       ? &_difference.name
                                       : key == "expected" ? &_difference.expected
                                       : key == "actual"   ? &_difference.actual
                                                           : nullptr;
    if (part == nullptr || blank == std::string::npos) {
        ThrowUnexpectedReply("name', 'expected', 'actual' or '.", line);
    }
    *part = LineCodec::Decode(std::string_view(line).substr(blank + 1));
}

}  // namespace zumra::settings::client
