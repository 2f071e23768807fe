#pragma once

#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::settings::server {

/// Every document from an include source passes through one of these before it is combined into the store.
class ZUMRA_EXPORT IIncludeFilter {
public:
    virtual ~IIncludeFilter();
    /// Edits the document in place. `source` names where it came from, for errors.
    virtual void Filter(core::IniFile& document, const std::string& source) = 0;
    void Filter(core::IniFile& document) { Filter(document, std::string()); }
};

}  // namespace zumra::settings::server
