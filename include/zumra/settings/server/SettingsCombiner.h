#pragma once

#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

class IIncludeFilter;

/// Takes documents one after another and combines them into one; a later value replaces an equal-named one.
class ZUMRA_EXPORT SettingsCombiner {
public:
    /// `filter` is not owned and may be null; only `LoadInclude` uses it.
    explicit SettingsCombiner(IIncludeFilter* filter = nullptr);

    /// Combines a document as it is.
    void LoadFromIni(const core::IniFile& document);
    /// Combines a document from an include source, through the filter. `source` names it in errors.
    void LoadInclude(core::IniFile document, const std::string& source);

    [[nodiscard]] const core::IniFile& Combined() const noexcept { return _combined; }
    [[nodiscard]] core::IniFile Take() { return std::move(_combined); }

private:
    IIncludeFilter* _filter;
    core::IniFile _combined;
};

}  // namespace zumra::settings::server
