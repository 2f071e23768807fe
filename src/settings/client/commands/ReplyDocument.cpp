#include "settings/client/commands/ReplyDocument.h"

#include <string>

#include "core/IniReader.h"
#include "settings/client/commands/ReplyLine.h"
#include "settings/common/LineCodec.h"

namespace zumra::settings::client {

core::IniFile ReadReplyDocument(std::istream& in) {
    core::IniReader reader;
    std::string line;
    for (;;) {
        ReadReplyLine(in, line);
        if (line == common::LineCodec::kEnd) {
            return reader.Take();
        }
        reader.Feed(line);
    }
}

}  // namespace zumra::settings::client
