#include "zumra-settingsd/Log.h"

#include <new>
#include <string>

#include "zumra-settingsd/LogWriter.h"

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

Log::Log(Level least, int descriptor) : _least(least), _writer(std::make_unique<LogWriter>(descriptor)) {}

Log::~Log() {
    if (!_writer->Finish()) {
        static_cast<void>(_writer.release());  // It is its thread's now.
    }
}

void Log::Write(Level level, std::string_view event) {
    if (level > _least) {
        return;
    }
    try {
        _writer->Add(Line(level, event));
    } catch (const std::bad_alloc&) {
        _writer->Drop();
    }
}

}  // namespace zumra::settingsd
