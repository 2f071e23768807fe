#include "zumra/settings/ZumraSettingsClient.h"

#include "settings/client/IBackend.h"

namespace zumra::settings {

ZumraSettingsClient::~ZumraSettingsClient() = default;

}  // namespace zumra::settings
