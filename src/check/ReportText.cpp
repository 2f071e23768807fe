#include "check/ReportText.h"

#include <cstdint>
#include <cstdio>

namespace zumra::check {

namespace {

unsigned Byte(char byte) {
    return static_cast<unsigned char>(byte);
}

/// How many bytes a character takes by its first one; zero where none begins.
std::size_t AnnouncedLength(char first) {
    const unsigned byte = Byte(first);
    return byte < 0x80U ? 1 : byte < 0xC2U ? 0 : byte < 0xE0U ? 2 : byte < 0xF0U ? 3 : byte < 0xF5U ? 4 : 0;
}

/// XML's characters, less the control characters from 0x7F on.
bool IsShown(std::uint32_t character, std::size_t length) {
    static constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (character < 0x20)
        return character == '\t' || character == '\n';
    const bool isSurrogate = character >= 0xD800 && character < 0xE000;
    const bool isControl = character >= 0x7F && character < 0xA0;
    return character >= kLeast[length] && character <= 0x10FFFF && !isSurrogate && !isControl &&
           character != 0xFFFE && character != 0xFFFF;
}

/// The length of the character that `text` begins with; zero when it is none to be shown.
std::size_t ShownLength(std::string_view text) {
    const std::size_t length = AnnouncedLength(text.front());
    if (length == 0 || length > text.size())
        return 0;
    std::uint32_t character = length == 1 ? Byte(text[0]) : Byte(text[0]) & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((Byte(text[i]) & 0xC0U) != 0x80U)
            return 0;
        character = character << 6U | (Byte(text[i]) & 0x3FU);
    }
    return IsShown(character, length) ? length : 0;
}

std::string Hexadecimal(char byte) {
    char text[8] = "";
    std::snprintf(text, sizeof text, "\\x%02X", Byte(byte));
    return text;
}

}  // namespace

std::string Printable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const std::size_t length = ShownLength(text);
        printable += length == 0 ? Hexadecimal(text.front()) : std::string(text.substr(0, length));
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return printable;
}

std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char byte : Printable(text)) {
        switch (byte) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\n':
                escaped += "&#10;";
                break;
            case '\t':
                escaped += "&#9;";
                break;
            default:
                escaped += byte;
        }
    }
    return escaped;
}

std::string InQuotes(std::string_view text) {
    std::string quoted = "\"";
    for (const char byte : Printable(text)) {
        if (byte == '"' || byte == '\\')
            quoted += '\\';
        quoted += byte == '\n' ? "\\n" : byte == '\t' ? "\\t" : std::string(1, byte);
    }
    return quoted + "\"";
}

}  // namespace zumra::check
