#include "zumra/core/IniFile.h"

#include <array>
#include <istream>
#include <ostream>
#include <utility>

#include "core/IniReader.h"
#include "core/IniWriter.h"
#include "zumra/osa/Exception.h"

namespace zumra::core {
namespace {

constexpr std::size_t kReadChunk = 16384;
constexpr std::size_t kWriteChunk = 65536;

/// The slot of `name`, made empty when there is none.
template <class Map>
typename Map::mapped_type& Slot(Map& map, std::string_view name) {
    auto at = map.lower_bound(name);
    if (at == map.end() || at->first != name) {
        at = map.emplace_hint(at, std::string(name), typename Map::mapped_type());
    }
    return at->second;
}

/// Moves the values over; an equal-named one is replaced. Allocates nothing, so that it cannot fail half-way.
void MergeGroup(IniFile::Group& target, IniFile::Group& source) noexcept {
    target.merge(source);
    for (auto& [name, value] : source) {
        target.find(name)->second.swap(value);
    }
}

/// Feeds the complete lines of `text`; what follows the last line end is left.
std::string_view FeedLines(IniReader& reader, std::string_view text) {
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
        reader.Feed(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    return text;
}

}  // namespace

IniFile::IniFile() = default;
IniFile::IniFile(const IniFile&) = default;
IniFile::IniFile(IniFile&&) noexcept = default;
IniFile& IniFile::operator=(const IniFile&) = default;
IniFile& IniFile::operator=(IniFile&&) noexcept = default;
IniFile::~IniFile() = default;

IniFile::Group& IniFile::operator[](const std::string& group) {
    return Slot(_groups, group);
}

IniFile::Group& IniFile::operator[](std::string_view group) {
    return Slot(_groups, group);
}

bool IniFile::HasGroup(std::string_view group) const {
    return FindGroup(group) != nullptr;
}

bool IniFile::HasValue(std::string_view group, std::string_view name) const {
    return FindValue(group, name) != nullptr;
}

std::string IniFile::GetValue(std::string_view group, std::string_view name) const {
    const std::string* value = FindValue(group, name);
    return value != nullptr ? *value : std::string();
}

const IniFile::Group* IniFile::FindGroup(std::string_view group) const {
    const auto at = _groups.find(group);
    return at != _groups.end() ? &at->second : nullptr;
}

const std::string* IniFile::FindValue(std::string_view group, std::string_view name) const {
    const Group* values = FindGroup(group);
    if (values == nullptr) {
        return nullptr;
    }
    const auto at = values->find(name);
    return at != values->end() ? &at->second : nullptr;
}

void IniFile::SetGroup(std::string group, Group values) {
    _groups.insert_or_assign(std::move(group), std::move(values));
}

bool IniFile::EraseGroup(std::string_view group) {
    const auto at = _groups.find(group);
    if (at == _groups.end()) {
        return false;
    }
    _groups.erase(at);
    return true;
}

bool IniFile::EraseValue(std::string_view group, std::string_view name) {
    const auto at = _groups.find(group);
    if (at == _groups.end()) {
        return false;
    }
    const auto value = at->second.find(name);
    if (value == at->second.end()) {
        return false;
    }
    at->second.erase(value);
    return true;
}

void IniFile::LoadFromString(std::string_view text) {
    IniReader reader;
    const std::string_view last = FeedLines(reader, text);
    reader.Feed(last);
    MergeSettings(reader.Take());
}

void IniFile::LoadFromStream(std::istream& in) {
    IniReader reader;
    std::array<char, kReadChunk> chunk;
    std::string pending;
    const bool readable = in.good() || in.eof();  // a file that could not be opened is neither
    while (in.good()) {
        in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        const std::string_view read(chunk.data(), static_cast<std::size_t>(in.gcount()));
        const std::size_t lastEnd = read.rfind('\n');
        if (lastEnd == read.npos) {
            pending += read;
            continue;
        }
        if (pending.empty()) {
            pending = FeedLines(reader, read);
        } else {
            // Only the line that the last chunk began is put together; the others are read where they are.
            const std::size_t firstEnd = read.find('\n');
            pending += read.substr(0, firstEnd);
            reader.Feed(pending);
            pending = FeedLines(reader, read.substr(firstEnd + 1));
        }
    }
    if (in.bad() || !readable) {
        throw osa::Exception("INI text could not be read: the stream failed after line " +
                             std::to_string(reader.LineCount()));
    }
    reader.Feed(pending);
    MergeSettings(reader.Take());
}

void IniFile::SaveToStream(std::ostream& out) const {
    std::string text;
    for (const auto& [name, values] : _groups) {
        AppendGroup(text, name, values);
        if (text.size() >= kWriteChunk) {
            out.write(text.data(), static_cast<std::streamsize>(text.size()));
            text.clear();
        }
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

std::string IniFile::SaveToString() const {
    std::string text;
    for (const auto& [name, values] : _groups) {
        AppendGroup(text, name, values);
    }
    return text;
}

void IniFile::MergeSettings(const IniFile& other) {
    if (this != &other) {
        MergeSettings(IniFile(other));
    }
}

void IniFile::MergeSettings(IniFile&& other) {
    if (this == &other) {
        return;
    }
    if (_groups.empty()) {
        _groups.swap(other._groups);
        return;
    }
    _groups.merge(other._groups);
    for (auto& [name, values] : other._groups) {
        MergeGroup(_groups.find(name)->second, values);
    }
    other._groups.clear();
}

IniFile::Groups IniFile::TakeGroups() noexcept {
    Groups groups;
    groups.swap(_groups);
    return groups;
}

void IniFile::Clear() noexcept {
    _groups.clear();
}

}  // namespace zumra::core
