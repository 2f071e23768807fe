#pragma once

#include <stdexcept>
#include <string>

#include "zumra/Export.h"

namespace zumra::osa {

/// The one exception that the libraries throw for anything that a caller or a peer did wrong or that the
/// system refused. `what()` is exactly the message given here, byte for byte up to the first NUL.
///
///     throw osa::Exception("Failed to open '" + path + "'");
///
/// Thread-safety: as of `std::runtime_error`; copies share the text and may be used from different threads.
class ZUMRA_EXPORT Exception : public std::runtime_error {
public:
    explicit Exception(const std::string& message);
    Exception(const Exception&) noexcept = default;
    Exception& operator=(const Exception&) noexcept = default;
    ~Exception() override;
};

}  // namespace zumra::osa
