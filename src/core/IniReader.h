#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"

namespace zumra::core {

/// Reads INI text one line at a time, so that a document can be read while it arrives. The form of the text
/// stands at `IniFile`.
///
/// Thread-safety: one thread at a time.
///
///     IniReader reader;
///     for (std::string_view line : lines) {
///         reader.Feed(line);
///     }
///     IniFile document = reader.Take();
class ZUMRA_EXPORT IniReader {
public:
    IniReader() = default;
    IniReader(const IniReader&) = delete;
    IniReader& operator=(const IniReader&) = delete;

    /// Takes the next line, without its line end. Throws `zumra::osa::Exception`
    /// "INI line <number>: <what is wrong>: '<line>'"; the line then added nothing, and reading may go on.
    void Feed(std::string_view line);

    /// The lines that were fed.
    [[nodiscard]] std::size_t LineCount() const noexcept { return _lineCount; }
    /// What was read so far.
    [[nodiscard]] const IniFile& Document() const noexcept { return _document; }
    /// Hands over what was read; the reader is then as new.
    [[nodiscard]] IniFile Take();

private:
    void ReadGroupLine(std::string_view line);
    void ReadValueLine(std::string_view line);
    std::string ReadName(std::string_view line, std::size_t& end) const;
    std::string ReadValue(std::string_view line, std::string_view text) const;
    [[noreturn]] void Fail(const char* reason, std::string_view line) const;

    IniFile _document;
    /// The group that value lines belong to; null before the first group line.
    IniFile::Group* _group = nullptr;
    std::size_t _lineCount = 0;
};

}  // namespace zumra::core
