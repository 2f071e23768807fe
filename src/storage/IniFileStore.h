#pragma once

#include <functional>
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
    void Save(const core::IniFile& document) override;

private:
    /// `reason`: why the file itself cannot be used; empty when there is none.
    [[nodiscard]] core::IniFile LoadPrevious(const std::string& reason);
    void SetAside();

    IFileCalls& _calls;
    std::string _path;
    Warn _warn;
};

}  // namespace zumra::storage
