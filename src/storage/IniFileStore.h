#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "storage/ISettingsStore.h"

namespace zumra::storage {

class IFileCalls;

/// Keeps the document as an INI file that a person can read and edit:
///
///     # zumra settings 1
///     [group]
///     name = value
///
///     # end
///
/// The first line says what the file is. The last says that it is whole: a file without it was cut off. The
/// previous good file stays beside it as `path` + ".previous". A file that cannot be read or is not whole is
/// set aside as `path` + ".broken" and the previous one is used, with a warning; when that one cannot be read
/// either, `Load` throws, and nothing is lost by starting empty.
class IniFileStore : public ISettingsStore {
public:
    using Warn = std::function<void(const std::string&)>;

    /// `calls` is not owned. `warn` is told what had to be worked around.
    IniFileStore(IFileCalls& calls, std::string path, Warn warn);

    [[nodiscard]] core::IniFile Load() override;
    /// What the file holds, without working around anything: throws for a file that cannot be read or is not
    /// whole, and changes nothing.
    [[nodiscard]] core::IniFile Look() const;
    void Save(const core::IniFile& document) override;
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override;

private:
    /// A group's text by its name: a fraction of what the document takes in memory, and a save makes anew
    /// only the text of groups that changed.
    using Texts = std::map<std::string, std::string>;

    [[nodiscard]] static Texts TextsOf(const core::IniFile& document);
    [[nodiscard]] core::IniFile LoadDocument();
    void Write();
    /// `reason`: why the file itself cannot be used; empty when there is none.
    [[nodiscard]] core::IniFile LoadPrevious(const std::string& reason);
    void SetAside();

    IFileCalls& _calls;
    std::string _path;
    Warn _warn;
    /// Absent before the document was loaded or saved.
    std::optional<Texts> _texts;
};

}  // namespace zumra::storage
