#pragma once

#include "zumra/Export.h"

namespace zumra::settings {

/// The version of the loaded libzumra-settings, in the form of `zumra::core::Version`, from which it differs
/// when builds are mixed.
///
/// Null-terminated, lives as long as the library. Never throws. Thread-safety: any thread. Cost: none.
///
///     std::cout << "with libzumra-settings " << zumra::settings::Version() << "\n";
ZUMRA_EXPORT const char* Version() noexcept;

}  // namespace zumra::settings
