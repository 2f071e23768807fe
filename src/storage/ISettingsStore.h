#pragma once

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
};

}  // namespace zumra::storage
