#include "zumra-settingsd/Sources.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "storage/FileCalls.h"
#include "storage/ReplaceFile.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsCombiner.h"

namespace zumra::settingsd {

namespace {

using settings::server::RestrictedGroups;

core::IniFile ReadDocument(const std::string& path) {
    storage::SystemFileCalls calls;
    const std::optional<std::string> text = storage::ReadFile(calls, path);
    if (!text) {
        throw osa::Exception("cannot read '" + path + "': " + std::generic_category().message(ENOENT));
    }
    core::IniFile document;
    try {
        document.LoadFromString(*text);
    } catch (const osa::Exception& error) {
        throw osa::Exception("'" + path + "': " + error.what());
    }
    return document;
}

std::vector<std::string> IniFilesIn(const std::string& directory) {
    std::vector<std::string> paths;
    try {
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            if (entry.path().extension() == ".ini") {
                paths.push_back(entry.path().string());
            }
        }
    } catch (const std::filesystem::filesystem_error& error) {
        throw osa::Exception("cannot read '" + directory + "': " + error.code().message());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string_view Trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::optional<std::uint32_t> Number(std::string_view text) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::optional<std::uint32_t> UserId(const std::string& name) {
    const passwd* found = ::getpwnam(name.c_str());  // NOLINT(concurrency-mt-unsafe): one reload at a time
    return found != nullptr ? std::optional<std::uint32_t>(found->pw_uid) : Number(name);
}

std::optional<std::uint32_t> GroupId(const std::string& name) {
    const ::group* found = ::getgrnam(name.c_str());  // NOLINT(concurrency-mt-unsafe): the same
    return found != nullptr ? std::optional<std::uint32_t>(found->gr_gid) : Number(name);
}

std::string Where(const std::string& path, const std::string& group, const std::string& name) {
    return "'" + path + "', group '" + group + "', '" + name + "'";
}

bool StartsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

/// False when the entry names nobody that there is.
bool AddEntry(std::string_view entry, RestrictedGroups::Users& users) {
    if (entry == "*") {
        users.everyone = true;
        return true;
    }
    if (StartsWith(entry, "group:")) {
        const auto gid = GroupId(std::string(entry.substr(6)));
        return gid && (users.gids.insert(*gid), true);
    }
    const auto uid = UserId(std::string(StartsWith(entry, "user:") ? entry.substr(5) : entry));
    return uid && (users.uids.insert(*uid), true);
}

RestrictedGroups::Users ParseUsers(std::string_view text, const std::string& where) {
    RestrictedGroups::Users users;
    while (!text.empty()) {
        const auto comma = std::min(text.find(','), text.size());
        const std::string_view entry = Trim(text.substr(0, comma));
        if (!entry.empty() && !AddEntry(entry, users)) {
            throw osa::Exception(where + ": there is no '" + std::string(entry) +
                                 "'; expected a user, 'user:NAME', 'group:NAME', a number or '*'");
        }
        text.remove_prefix(std::min(comma + 1, text.size()));
    }
    return users;
}

void LoadDefaultsFrom(const DefaultsFiles& files, settings::server::SettingsCombiner& combiner) {
    if (files.defaults) {
        combiner.LoadFromIni(ReadDocument(*files.defaults));
    }
    if (files.includeDirectory) {
        for (const std::string& path : IniFilesIn(*files.includeDirectory)) {
            combiner.LoadInclude(ReadDocument(path), path);
        }
    }
}

class StorePersister : public settings::server::IIncrementalPersister {
public:
    StorePersister(DefaultsFiles files, storage::ISettingsStore& store)
        : _files(std::move(files)), _store(store) {}

    void LoadDefaults(settings::server::SettingsCombiner& combiner) override {
        LoadDefaultsFrom(_files, combiner);
    }
    void LoadSettings(settings::server::SettingsCombiner& combiner) override {
        combiner.LoadFromIni(_store.Load());
    }
    void SaveSettings(const core::IniFile& settings) override { _store.Save(settings); }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        _store.SaveChanges(changed, removed);
    }

private:
    const DefaultsFiles _files;
    storage::ISettingsStore& _store;
};

}  // namespace

std::unique_ptr<settings::server::ISettingsPersister> MakePersister(DefaultsFiles files,
                                                                    storage::ISettingsStore& store) {
    return std::make_unique<StorePersister>(std::move(files), store);
}

RestrictedFile::RestrictedFile(std::string path) : _path(std::move(path)) {}

RestrictedGroups RestrictedFile::LoadRestrictedGroups() {
    RestrictedGroups restricted;
    for (const auto& [pattern, values] : ReadDocument(_path)) {
        RestrictedGroups::Rule rule;
        rule.groups.AddNameOrPattern(pattern);
        rule.readers.everyone = rule.writers.everyone = true;
        for (const auto& [name, text] : values) {
            const std::string where = Where(_path, pattern, name);
            if (name != "read" && name != "write") {
                throw osa::Exception(where + ": expected 'read' or 'write'");
            }
            (name == "read" ? rule.readers : rule.writers) = ParseUsers(text, where);
        }
        restricted.rules.push_back(std::move(rule));
    }
    return restricted;
}

}  // namespace zumra::settingsd
