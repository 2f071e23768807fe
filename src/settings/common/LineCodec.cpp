#include "settings/common/LineCodec.h"

#include "core/IniText.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::common::LineCodec {
namespace {

[[noreturn]] void Fail(std::string_view line, const char* reason) {
    throw osa::Exception("Failed to parse '" + core::Printable(line) + "' as a list item: " + reason);
}

}  // namespace

std::string Encode(std::string_view item) {
    std::string line;
    AppendEncoded(line, item);
    return line;
}

void AppendEncoded(std::string& out, std::string_view item) {
    if (item == kEnd || core::RestOfLineNeedsQuotes(item)) {
        core::AppendQuoted(out, item);
    } else {
        out += item;
    }
}

std::string Decode(std::string_view line) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    if (line.empty() || line.front() != '"') {
        return std::string(line);
    }
    std::string item;
    const core::QuotedText quoted = core::ReadQuoted(line, item);
    if (quoted.error != nullptr) {
        Fail(line, quoted.error);
    }
    if (quoted.length != line.size()) {
        Fail(line, "unexpected text after the closing quote");
    }
    return item;
}

}  // namespace zumra::settings::common::LineCodec
