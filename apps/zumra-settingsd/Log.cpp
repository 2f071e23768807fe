#include "zumra-settingsd/Log.h"

#include <unistd.h>

#include <cerrno>

namespace zumra::settingsd {

namespace {

std::string Line(Log::Level level, std::string_view event) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string line = "<" + std::to_string(level) + ">";
    for (const char c : event) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) {
            line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            line += c;
        }
    }
    line += '\n';
    return line;
}

}  // namespace

void Log::Write(Level level, std::string_view event) {
    if (level > _least) {
        return;
    }
    const std::string line = Line(level, event);
    const std::lock_guard<std::mutex> lock(_mutex);
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t put = ::write(_descriptor, rest.data(), rest.size());
        if (put < 0 && errno != EINTR) {
            return;  // There is nowhere left to tell it.
        }
        rest.remove_prefix(put < 0 ? 0 : static_cast<std::size_t>(put));
    }
}

}  // namespace zumra::settingsd
