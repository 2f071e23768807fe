#pragma once

#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <string_view>

#include "zumra/Export.h"

namespace zumra::core {

/// A settings document: groups in ascending byte order of their names, each with its values in ascending byte
/// order of theirs. Names and values are byte strings; any byte may stand in them, and they may be empty.
class ZUMRA_EXPORT IniFile {
public:
    using Group = std::map<std::string, std::string, std::less<>>;
    using Groups = std::map<std::string, Group, std::less<>>;
    using const_iterator = Groups::const_iterator;

    IniFile();
    IniFile(const IniFile&);
    IniFile(IniFile&&) noexcept;
    IniFile& operator=(const IniFile&);
    IniFile& operator=(IniFile&&) noexcept;
    ~IniFile();

    Group& operator[](const std::string& group);
    Group& operator[](std::string_view group);
    Group& operator[](const char* group) { return (*this)[std::string_view(group)]; }

    [[nodiscard]] bool HasGroup(std::string_view group) const;
    [[nodiscard]] bool HasValue(std::string_view group, std::string_view name) const;
    /// Empty when the group or the value does not exist.
    [[nodiscard]] std::string GetValue(std::string_view group, std::string_view name) const;
    /// Null when there is none.
    [[nodiscard]] const Group* FindGroup(std::string_view group) const;
    [[nodiscard]] const std::string* FindValue(std::string_view group, std::string_view name) const;

    /// Puts a group in place of any that had its name.
    void SetGroup(std::string group, Group values);
    bool EraseGroup(std::string_view group);
    bool EraseValue(std::string_view group, std::string_view name);

    void LoadFromString(std::string_view text);
    void LoadFromStream(std::istream& in);
    void SaveToStream(std::ostream& out) const;
    [[nodiscard]] std::string SaveToString() const;

    void MergeSettings(const IniFile& other);
    void MergeSettings(IniFile&& other);
    void Clear() noexcept;

    [[nodiscard]] std::size_t size() const noexcept { return _groups.size(); }
    [[nodiscard]] bool empty() const noexcept { return _groups.empty(); }
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
