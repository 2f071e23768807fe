#include "zumra-settingsd/Log.h"

#include <unistd.h>

#include <cerrno>
#include <string>

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
    const osa::MutexLock lock(_mutex);
    Put(line);
}

void Log::Put(std::string_view line) {
    while (!line.empty()) {
        const ssize_t put = ::write(_descriptor, line.data(), line.size());
        if (put < 0 && errno != EINTR) {
            return;  // There is nowhere left to tell it.
        }
        line.remove_prefix(put < 0 ? 0 : static_cast<std::size_t>(put));
    }
}

}  // namespace zumra::settingsd
