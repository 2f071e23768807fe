#include "core/IniReader.h"

#include <utility>

#include "core/IniText.h"
#include "zumra/osa/Exception.h"

namespace zumra::core {

void IniReader::Feed(std::string_view line) {
    ++_lineCount;
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    line = TrimBlanks(line);
    if (line.empty() || line.front() == '#' || line.front() == ';') {
        return;
    }
    if (line.front() == '[') {
        ReadGroupLine(line);
    } else {
        ReadValueLine(line);
    }
}

IniFile IniReader::Take() {
    _group = nullptr;
    _lineCount = 0;
    return std::exchange(_document, IniFile());
}

void IniReader::ReadGroupLine(std::string_view line) {
    if (line.size() > 1 && line[1] == '"') {
        std::string name;
        const QuotedText quoted = ReadQuoted(line.substr(1), name);
        if (quoted.error != nullptr) {
            Fail(quoted.error, line);
        }
        if (line.substr(1 + quoted.length) != "]") {
            Fail("expected \"]\" and nothing else after the closing quote", line);
        }
        _group = &_document[name];
        return;
    }
    if (line.back() != ']') {
        Fail("a group line must end in \"]\"", line);
    }
    _group = &_document[line.substr(1, line.size() - 2)];
}

void IniReader::ReadValueLine(std::string_view line) {
    std::size_t nameEnd = 0;
    std::string name = ReadName(line, nameEnd);
    if (nameEnd >= line.size() || line[nameEnd] != '=') {
        Fail("expected a group \"[name]\", a value \"name = value\", a comment or an empty line", line);
    }
    if (_group == nullptr) {
        Fail("a value stands before the first group", line);
    }
    std::string value = ReadValue(line, TrimBlanks(line.substr(nameEnd + 1)));
    // What this system writes is in order, so the end is mostly the right place.
    _group->insert_or_assign(_group->end(), std::move(name), std::move(value));
}

/// The name that the line begins with; `end` is where its "=" must stand.
std::string IniReader::ReadName(std::string_view line, std::size_t& end) const {
    if (line.front() != '"') {
        end = line.find('=');
        return std::string(TrimBlanks(line.substr(0, end)));
    }
    std::string name;
    const QuotedText quoted = ReadQuoted(line, name);
    if (quoted.error != nullptr) {
        Fail(quoted.error, line);
    }
    end = quoted.length;
    while (end < line.size() && IsBlank(line[end])) {
        ++end;
    }
    return name;
}

std::string IniReader::ReadValue(std::string_view line, std::string_view text) const {
    if (text.empty() || text.front() != '"') {
        return std::string(text);
    }
    std::string value;
    const QuotedText quoted = ReadQuoted(text, value);
    if (quoted.error != nullptr) {
        Fail(quoted.error, line);
    }
    if (quoted.length != text.size()) {
        Fail("unexpected text after the closing quote", line);
    }
    return value;
}

void IniReader::Fail(const char* reason, std::string_view line) const {
    throw osa::Exception("INI line " + std::to_string(_lineCount) + ": " + reason + ": '" + Printable(line) +
                         "'");
}

}  // namespace zumra::core
