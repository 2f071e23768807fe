#pragma once

#include <set>
#include <string>

#include "zumra/core/IniFile.h"

namespace zumra::storage {

/// Keeps one document for good. Used by one thread at a time. Errors are `zumra::osa::Exception`s that name
/// the file and the reason.
class ISettingsStore {
public:
    virtual ~ISettingsStore() = default;

    /// The document saved last; empty when none ever was. Never empty in place of one that cannot be read.
    [[nodiscard]] virtual core::IniFile Load() = 0;

    /// When this returns, `document` is kept even if the power fails now. When it throws, what `Load` gives
    /// is either the document saved before or this one, whole.
    virtual void Save(const core::IniFile& document) = 0;

    /// As `Save` of the document kept so far with each group of `changed` put whole in place of any of its
    /// name, and without the groups named in `removed`, which need not exist.
    /// After a failure the same changes come again, with others perhaps.
    virtual void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) = 0;
};

}  // namespace zumra::storage
