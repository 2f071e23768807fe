#pragma once

#include <string>
#include <utility>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

class IIncludeFilter;

/// Takes documents one after another and combines them into one: groups and values are added, a later value
/// replaces an equal-named one. A store gives a persister one combiner for the defaults and another for the
/// saved settings.
///
/// Thread-safety: one thread at a time.
///
///     void MyPersister::LoadDefaults(SettingsCombiner& combiner) {
///         combiner.LoadFromIni(_factoryDefaults);
///         for (const auto& [path, document] : _includes) {
///             combiner.LoadInclude(document, path);
///         }
///     }
class ZUMRA_EXPORT SettingsCombiner {
public:
    /// `filter` is not owned and may be null; only `LoadInclude` uses it.
    explicit SettingsCombiner(IIncludeFilter* filter = nullptr);

    /// Combines a document as it is.
    void LoadFromIni(const core::IniFile& document);
    /// The same without copying; `document` is then empty.
    void LoadFromIni(core::IniFile&& document);
    /// Combines a document from an include source, through the filter. `source` names it in errors. Throws
    /// what the filter throws; nothing is combined then.
    void LoadInclude(core::IniFile document, const std::string& source);

    [[nodiscard]] const core::IniFile& Combined() const noexcept { return _combined; }
    /// Leaves nothing combined.
    [[nodiscard]] core::IniFile Take() { return std::exchange(_combined, core::IniFile()); }

private:
    IIncludeFilter* _filter;
    core::IniFile _combined;
};

}  // namespace zumra::settings::server
