#include "storage/IniFileStore.h"

#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "core/IniWriter.h"
#include "storage/FileCalls.h"
#include "storage/ReplaceFile.h"
#include "zumra/osa/Exception.h"

namespace zumra::storage {

namespace {

constexpr std::string_view kFirstLine = "# zumra settings 1\n";
constexpr std::string_view kLastLine = "# end\n";

/// People's editors change line ends and add empty lines at the end.
std::string_view WithoutBlanksAtEnd(std::string_view text) {
    const auto last = text.find_last_not_of(" \t\r\n");
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

core::IniFile Parse(const std::string& path, const std::string& text) {
    std::string_view mark = kLastLine;
    mark.remove_suffix(1);
    const std::string_view content = WithoutBlanksAtEnd(text);
    const bool whole = content.size() > mark.size() &&
                       content.substr(content.size() - mark.size() - 1) == "\n" + std::string(mark);
    if (!whole) {
        throw osa::Exception("'" + path + "' is not whole: its last line is not '" + std::string(mark) + "'");
    }
    core::IniFile document;
    try {
        document.LoadFromString(text);
    } catch (const osa::Exception& error) {
        throw osa::Exception("'" + path + "': " + error.what());
    }
    return document;
}

std::optional<core::IniFile> Read(IFileCalls& calls, const std::string& path) {
    const std::optional<std::string> text = ReadFile(calls, path);
    if (!text) {
        return std::nullopt;
    }
    return Parse(path, *text);
}

}  // namespace

IniFileStore::IniFileStore(IFileCalls& calls, std::string path, Warn warn)
    : _calls(calls), _path(std::move(path)), _warn(std::move(warn)) {}

IniFileStore::Texts IniFileStore::TextsOf(const core::IniFile& document) {
    Texts texts;
    for (const auto& [name, values] : document) {
        core::AppendGroup(texts.emplace_hint(texts.end(), name, std::string())->second, name, values);
    }
    return texts;
}

core::IniFile IniFileStore::Load() {
    core::IniFile document = LoadDocument();
    _texts = TextsOf(document);
    return document;
}

core::IniFile IniFileStore::Look() const {
    return Read(_calls, _path).value_or(core::IniFile());
}

core::IniFile IniFileStore::LoadDocument() {
    std::string reason;
    try {
        std::optional<core::IniFile> document = Read(_calls, _path);
        if (document) {
            return std::move(*document);
        }
    } catch (const osa::Exception& error) {
        reason = error.what();
    }
    return LoadPrevious(reason);
}

core::IniFile IniFileStore::LoadPrevious(const std::string& reason) {
    const std::string path = PreviousName(_path);
    const std::string why = reason.empty() ? "there is no '" + _path + "'" : reason;
    std::optional<core::IniFile> document;
    try {
        document = Read(_calls, path);
    } catch (const osa::Exception& error) {
        throw osa::Exception(why + "; nor can the previous settings be used: " + error.what());
    }
    if (!document) {
        if (reason.empty()) {
            return core::IniFile();
        }
        throw osa::Exception(why + "; and there are no previous settings '" + path + "'");
    }
    if (!reason.empty()) {
        SetAside();
    }
    _warn(why + "; using the previous settings '" + path + "'");
    return std::move(*document);
}

void IniFileStore::SetAside() {
    const std::string broken = _path + ".broken";
    if (_calls.Rename(_path.c_str(), broken.c_str()) != 0) {
        throw osa::Exception("cannot set '" + _path + "' aside as '" + broken +
                             "': " + std::generic_category().message(errno));
    }
    SyncDirectoryOf(_calls, _path);
    _warn("'" + _path + "' was set aside as '" + broken + "'");
}

void IniFileStore::Save(const core::IniFile& document) {
    _texts = TextsOf(document);
    Write();
}

void IniFileStore::SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) {
    if (!_texts) {
        (void)Load();
    }
    for (const std::string& name : removed) {
        _texts->erase(name);
    }
    for (const auto& [name, values] : changed) {
        std::string text;
        core::AppendGroup(text, name, values);
        _texts->insert_or_assign(name, std::move(text));
    }
    Write();
}

void IniFileStore::Write() {
    std::string text(kFirstLine);
    for (const auto& group : *_texts) {
        text += group.second;
    }
    text += kLastLine;
    ReplaceFile(_calls, _path, text);
}

}  // namespace zumra::storage
