#pragma once

#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

/// Every document from an include source passes through one of these before it is combined into the store.
///
/// Thread-safety: one thread at a time; the store calls it while it loads, which is in its constructor and in
/// its `Reload`.
class ZUMRA_EXPORT IIncludeFilter {
public:
    virtual ~IIncludeFilter();
    /// Edits the document in place. `source` names where it came from, for errors. Throws
    /// `zumra::osa::Exception` when the document cannot be used; it is then as it was.
    virtual void Filter(core::IniFile& document, const std::string& source) = 0;
    void Filter(core::IniFile& document) { Filter(document, std::string()); }
    /// Forgets what earlier documents made it remember: all sources are about to be loaded anew.
    virtual void Reset() {}
};

}  // namespace zumra::settings::server
