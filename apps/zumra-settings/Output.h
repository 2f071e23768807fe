#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "zumra/core/IniFile.h"

namespace zumra::cli {

/// How results are written.
enum class Form {
    kPeople,
    kIni,
    kJson,
    kNul,  ///< every text followed by a NUL byte, for other programs
};

/// What is made of texts where a person looks at a terminal; otherwise every text comes out as it is.
class Style {
public:
    Style() = default;
    Style(bool colored, bool terminal) : _colored(colored), _terminal(terminal) {}
    [[nodiscard]] bool HasBars() const { return _terminal; }
    /// A text of somebody else: nothing in it does anything to a terminal.
    [[nodiscard]] std::string Shown(std::string_view text) const;
    [[nodiscard]] std::string Strong(std::string_view text) const { return Wrap("1", text); }
    [[nodiscard]] std::string Faint(std::string_view text) const { return Wrap("2", text); }
    [[nodiscard]] std::string Added(std::string_view text) const { return Wrap("32", text); }
    [[nodiscard]] std::string Removed(std::string_view text) const { return Wrap("31", text); }
    [[nodiscard]] std::string Warning(std::string_view text) const { return Wrap("33", text); }

private:
    [[nodiscard]] std::string Wrap(const char* code, std::string_view text) const;
    bool _colored = false;
    bool _terminal = false;
};

/// Writes a whole document: INI text, an object of objects, or group, name and value of each setting with a
/// NUL byte behind each. Throws `zumra::osa::Exception` when the form cannot say it: JSON holds no bytes that
/// are not UTF-8, and the NUL form no NUL bytes.
void WriteDocument(std::ostream& out, Form form, const Style& style, const core::IniFile& document);

/// Reads what `WriteDocument` wrote. Throws `zumra::osa::Exception` with what is wrong, and where.
[[nodiscard]] core::IniFile ReadDocument(Form form, const std::string& text);

/// A group's name as a word that selects it and nothing else, on one line: in quotes where it would be taken
/// for a pattern or otherwise misread.
[[nodiscard]] std::string GroupWord(const std::string& name);

/// Writes names of groups: one a line, each as `GroupWord` gives it; an array; or with a NUL byte behind
/// each.
void WriteGroupNames(std::ostream& out, Form form, const Style& style, const std::vector<std::string>& names);

/// Writes one value as it is, with a line end behind it for people.
void WriteValue(std::ostream& out, Form form, const Style& style, const std::string& value);

/// Writes a text and a NUL byte. Throws `zumra::osa::Exception` when the text holds one itself.
void WriteNul(std::ostream& out, const std::string& text);

/// The text as a person can read it on one line of a terminal: control bytes do nothing there.
[[nodiscard]] std::string Visible(std::string_view text);

}  // namespace zumra::cli
