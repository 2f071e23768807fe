#include "zumra/settings/IChangeCallback.h"

namespace zumra::settings {

IChangeCallback::~IChangeCallback() = default;

}  // namespace zumra::settings
