#pragma once

#include "zumra/Export.h"

namespace zumra::core {

/// The version of the loaded libzumra, "MAJOR.MINOR.PATCH", such as "1.0.0"; that of its soname is MAJOR.
/// Builds of the same major version can stand in for each other.
///
/// Null-terminated, lives as long as the library. Never throws. Thread-safety: any thread. Cost: none.
///
///     std::cout << "with libzumra " << zumra::core::Version() << "\n";
ZUMRA_EXPORT const char* Version() noexcept;

}  // namespace zumra::core
