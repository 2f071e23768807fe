#include "core/IniText.h"

namespace zumra::core {
namespace {

constexpr char kQuote = '"';
constexpr char kHexDigits[] = "0123456789abcdef";

bool BeginsOrEndsWithBlank(std::string_view text) noexcept {
    return !text.empty() && (IsBlank(text.front()) || IsBlank(text.back()));
}

bool IsControl(char c) noexcept {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

void AppendControl(std::string& out, char c) {
    out += '\\';
    switch (c) {
        case '\n':
            out += 'n';
            return;
        case '\r':
            out += 'r';
            return;
        case '\t':
            out += 't';
            return;
        case '\0':
            out += '0';
            return;
        default:
            out += 'x';
            out += kHexDigits[static_cast<unsigned char>(c) >> 4];
            out += kHexDigits[static_cast<unsigned char>(c) & 15];
    }
}

int HexValue(char c) noexcept {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

/// Reads what follows a backslash; the number of bytes it takes, 0 when it is no escape.
std::size_t ReadEscape(std::string_view rest, char& value) noexcept {
    if (rest.empty()) {
        return 0;
    }
    switch (rest[0]) {
        case '"':
        case '\\':
            value = rest[0];
            return 1;
        case 'n':
            value = '\n';
            return 1;
        case 'r':
            value = '\r';
            return 1;
        case 't':
            value = '\t';
            return 1;
        case '0':
            value = '\0';
            return 1;
        case 'x':
            break;
        default:
            return 0;
    }
    const int high = rest.size() > 2 ? HexValue(rest[1]) : -1;
    const int low = rest.size() > 2 ? HexValue(rest[2]) : -1;
    if (high < 0 || low < 0) {
        return 0;
    }
    value = static_cast<char>(high * 16 + low);
    return 3;
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) noexcept {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool GroupNeedsQuotes(std::string_view group) noexcept {
    return !group.empty() && (group.front() == kQuote || group.find('\n') != group.npos);
}

bool NameNeedsQuotes(std::string_view name) noexcept {
    if (name.empty()) {
        return false;
    }
    const char first = name.front();
    return first == kQuote || first == '[' || first == '#' || first == ';' || BeginsOrEndsWithBlank(name) ||
           name.find('=') != name.npos || name.find('\n') != name.npos;
}

bool ValueNeedsQuotes(std::string_view value) noexcept {
    return BeginsOrEndsWithBlank(value) || RestOfLineNeedsQuotes(value);
}

bool RestOfLineNeedsQuotes(std::string_view text) noexcept {
    return !text.empty() && (text.front() == kQuote || text.back() == '\r' || text.find('\n') != text.npos);
}

void AppendQuoted(std::string& out, std::string_view text) {
    out.reserve(out.size() + text.size() + 2);
    out += kQuote;
    for (const char c : text) {
        if (c == kQuote || c == '\\') {
            out += '\\';
            out += c;
        } else if (IsControl(c)) {
            AppendControl(out, c);
        } else {
            out += c;
        }
    }
    out += kQuote;
}

QuotedText ReadQuoted(std::string_view text, std::string& out) {
    std::size_t at = 1;
    for (;;) {
        const std::size_t special = text.find_first_of("\"\\", at);
        if (special == text.npos) {
            return {text.size(), "the closing quote is missing"};
        }
        out.append(text.substr(at, special - at));
        at = special + 1;
        if (text[special] == kQuote) {
            return {at, nullptr};
        }
        char value = 0;
        const std::size_t taken = ReadEscape(text.substr(at), value);
        if (taken == 0) {
            return {special, "unknown escape inside quotes"};
        }
        out += value;
        at += taken;
    }
}

std::string Printable(std::string_view text, std::size_t limit) {
    const bool cut = text.size() > limit;
    if (cut) {
        // Not in the middle of a UTF-8 character.
        while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0) == 0x80) {
            --limit;
        }
    }
    std::string printable;
    for (const char c : text.substr(0, limit)) {
        if (IsControl(c)) {
            AppendControl(printable, c);
        } else {
            printable += c;
        }
    }
    return cut ? printable + "..." : printable;
}

}  // namespace zumra::core
