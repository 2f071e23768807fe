#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>

#include "zumra/Export.h"

namespace zumra::core {

/// A settings document: groups in ascending byte order of their names, each with its values in ascending byte
/// order of theirs. Names and values are byte strings: any byte may stand in them, they may be empty, and
/// case counts. A group may be empty. A "/" in a name has no meaning to the document.
///
///     IniFile document;
///     document["Resources/DSP"]["TotalAvailable"] = "100";
///     for (const auto& [group, values] : document) {
///         for (const auto& [name, value] : values) { ... }
///     }
///     document.SaveToStream(out);
///
/// Thread-safety: as of a standard container; const operations may run at the same time on the same document.
/// Every operation that throws leaves the document as it was.
///
/// The INI text
/// ------------
/// A document is written like this, each group closed by one empty line:
///
///     [Resources/DSP]
///     CurrentlyUsed = 25
///     TotalAvailable = 100
///
/// When it is read, a line ends in "\n"; one "\r" before that is dropped, and blanks (spaces and tabs) at
/// both ends of a line mean nothing. A line is one of:
///
/// - `[name]`: what follows belongs to the group of that name, which exists from here on. The last "]" of the
///   line closes it, and everything between the brackets is the name, blanks included. A group that comes
///   again goes on.
/// - `name = value`: a value of the group. The first "=" splits; blanks around it are optional and belong to
///   neither side. A name that comes again replaces the value.
/// - a line that begins with "#" or ";", or an empty line: says nothing. There are no comments after a value.
///
/// Anything else, and a value before the first group, is an error.
///
/// Ordinary text stands as it is: a backslash, a quote within it, a "]" in a group's name, bytes above 127
/// mean nothing special. What would otherwise be read as something else is written in double quotes, and any
/// name or value that begins with a double quote is read so; nothing may follow the closing quote. Inside the
/// quotes these escapes stand for bytes, and any other is an error:
///
///     \"  \\  \n  \r  \t  \0 (NUL)  and  \xHH with exactly two hexadecimal digits
///
/// Written in quotes are
///
/// - a value, when it begins or ends with a blank, begins with a double quote, holds a line end, or ends in a
///   carriage return;
/// - a name, when it begins or ends with a blank, begins with a double quote, "[", "#" or ";",
///   or holds "=" or a line end;
/// - a group's name, when it begins with a double quote or holds a line end.
///
/// So every document that is written is read back as the same document, whatever bytes it holds; in
/// particular no value can become a group or a second value. Whoever may set one value can set just that.
class ZUMRA_EXPORT IniFile {
public:
    /// Values by name. A plain map: `group["name"] = "value"` adds or replaces.
    using Group = std::map<std::string, std::string, std::less<>>;
    using Groups = std::map<std::string, Group, std::less<>>;
    using const_iterator = Groups::const_iterator;

    /// A document without groups.
    IniFile();
    IniFile(const IniFile&);
    /// Constant time; the source is then empty.
    IniFile(IniFile&&) noexcept;
    IniFile& operator=(const IniFile&);
    IniFile& operator=(IniFile&&) noexcept;
    ~IniFile();

    /// The group of that name, which is made, empty, when there is none. The reference is valid until the
    /// group is erased or replaced as a whole, or the document goes; moving the document takes it along.
    Group& operator[](const std::string& group);
    Group& operator[](std::string_view group);
    Group& operator[](const char* group) { return (*this)[std::string_view(group)]; }

    /// Whether the group exists, be it empty.
    [[nodiscard]] bool HasGroup(std::string_view group) const;
    /// Whether the value exists, be it empty.
    [[nodiscard]] bool HasValue(std::string_view group, std::string_view name) const;
    /// The value's text; empty when the group or the value does not exist.
    [[nodiscard]] std::string GetValue(std::string_view group, std::string_view name) const;
    /// The group; null when there is none. Valid as long as a reference from `operator[]`.
    [[nodiscard]] const Group* FindGroup(std::string_view group) const;
    /// The value's text; null when there is none.
    [[nodiscard]] const std::string* FindValue(std::string_view group, std::string_view name) const;

    /// Puts a group in place of any that had its name.
    void SetGroup(std::string group, Group values);
    /// False when there is no such group.
    bool EraseGroup(std::string_view group);
    /// False when there is no such value. The group stays, be it empty.
    bool EraseValue(std::string_view group, std::string_view name);

    /// Reads INI text and adds what it holds, as `MergeSettings` does. Throws `zumra::osa::Exception`
    /// "INI line <number>: <what is wrong>: '<line>'", lines counted from 1, control characters of the line
    /// shown as escapes and the line cut after 100 bytes. Takes time for the text and what it merges, and no
    /// more memory than the document that is read.
    void LoadFromString(std::string_view text);
    /// As `LoadFromString`, from where the stream stands to its end. Throws `zumra::osa::Exception`
    /// "INI text could not be read: ..." when reading the stream fails. Reads in pieces; the text as a whole
    /// is never in memory.
    void LoadFromStream(std::istream& in);
    /// Writes the whole document; an empty one writes nothing. Whether `out` took it all is seen in the state
    /// of `out`.
    void SaveToStream(std::ostream& out) const;
    /// What `SaveToStream` writes.
    [[nodiscard]] std::string SaveToString() const;

    /// Adds every group (empty ones too) and value of `other`; they replace equal-named values. Groups and
    /// values that are only here stay. Costs what `other` holds, not what is here.
    void MergeSettings(const IniFile& other);
    /// The same without copying; `other` is then empty. Cannot fail.
    void MergeSettings(IniFile&& other);
    /// Removes every group.
    void Clear() noexcept;
    /// Hands over the groups without copying; the document is then empty.
    [[nodiscard]] Groups TakeGroups() noexcept;

    /// The number of groups.
    [[nodiscard]] std::size_t size() const noexcept { return _groups.size(); }
    [[nodiscard]] bool empty() const noexcept { return _groups.empty(); }
    /// The groups, ascending: pairs of name and `Group`.
    [[nodiscard]] const_iterator begin() const noexcept { return _groups.begin(); }
    [[nodiscard]] const_iterator end() const noexcept { return _groups.end(); }
    /// For look-ups by range: the ordered groups themselves.
    [[nodiscard]] const Groups& AllGroups() const noexcept { return _groups; }

    friend bool operator==(const IniFile& a, const IniFile& b) { return a._groups == b._groups; }
    friend bool operator!=(const IniFile& a, const IniFile& b) { return !(a == b); }
    friend void swap(IniFile& a, IniFile& b) noexcept { a._groups.swap(b._groups); }

private:
    Groups _groups;
};

}  // namespace zumra::core
