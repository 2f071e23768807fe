#include "settings/client/commands/UnkeptReply.h"

#include <istream>
#include <limits>

#include "settings/client/commands/ReplyLine.h"

namespace zumra::settings::client {

namespace {

constexpr auto kAll = std::numeric_limits<std::streamsize>::max();

/// Whether the line that begins here was the line ".".
bool SkipWholeLine(std::istream& in) {
    const int first = in.get();
    if (first == '\n') {
        return false;
    }
    const bool isEnd = first == '.' && in.peek() == '\n';
    in.ignore(kAll, '\n');
    if (!in.good()) {
        ThrowCutShort();
    }
    return isEnd;
}

}  // namespace

void SkipReplyLine(std::istream& in) {
    in.clear();
    in.ignore(kAll, '\n');
    if (!in.good()) {
        ThrowCutShort();
    }
}

void SkipReply(std::istream& in) {
    if (in.bad()) {
        // It was the line itself that found no room, so this is somewhere within it.
        SkipReplyLine(in);
    }
    while (!SkipWholeLine(in)) {
    }
}

}  // namespace zumra::settings::client
