#include "settings/client/commands/ReplyLine.h"

#include <istream>
#include <new>

#include "core/IniText.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

void ReadReplyLine(std::istream& in, std::string& line) {
    std::getline(in, line);
    if (in.bad()) {
        // A stream turns what is thrown within it into this flag, and nothing else than this is.
        throw std::bad_alloc();
    }
    if (!in.good()) {
        ThrowCutShort();
    }
}

void ThrowCutShort() {
    throw osa::Exception("the reply is cut short");
}

void ThrowUnexpectedReply(std::string_view expected, std::string_view line) {
    throw osa::Exception("expected '" + std::string(expected) + "' but got '" + core::Printable(line) + "'");
}

}  // namespace zumra::settings::client
