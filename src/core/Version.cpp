#include "zumra/core/Version.h"

namespace zumra::core {

const char* Version() noexcept {
    return ZUMRA_VERSION;
}

}  // namespace zumra::core
