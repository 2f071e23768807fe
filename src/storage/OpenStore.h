#pragma once

#include <functional>
#include <memory>
#include <string>

#include "storage/ISettingsStore.h"

namespace zumra::storage {

/// Opens the store that a URI names, for this process alone:
///
/// | URI | store |
/// |---|---|
/// | `ini:PATH`, or just PATH with a "/" in it | an INI file (`IniFileStore`) |
/// | `sqlite:PATH` | an SQLite database (`SqliteStore`) |
/// | `memory:` | nothing is kept |
///
/// `warn` is told what had to be worked around. Throws `zumra::osa::Exception` when the URI names no store or
/// the store is in use by another process or cannot be opened.
[[nodiscard]] std::unique_ptr<ISettingsStore> OpenStore(const std::string& uri,
                                                        std::function<void(const std::string&)> warn);

/// The same store, only looked at: nothing is made, locked, set aside or saved, so that it may be in use
/// meanwhile. Its `Load` throws for a file that `OpenStore` would work around, too; a store that is not there
/// yet is empty.
[[nodiscard]] std::unique_ptr<ISettingsStore> LookAtStore(const std::string& uri);

/// Where the store is that a URI names; empty for one in memory. Throws as `OpenStore` when it names none.
[[nodiscard]] std::string PathOfStore(const std::string& uri);

}  // namespace zumra::storage
