#include "zumra/settings/Version.h"

namespace zumra::settings {

const char* Version() noexcept {
    return ZUMRA_VERSION;
}

}  // namespace zumra::settings
