#include "zumra/settings/server/IIncludeFilter.h"
#include "zumra/settings/server/IRestrictedSettingsLoader.h"
#include "zumra/settings/server/ISettingsPersister.h"
#include "zumra/settings/server/ISettingsSerializer.h"

namespace zumra::settings::server {

ISettingsSerializer::~ISettingsSerializer() = default;
ISettingsPersister::~ISettingsPersister() = default;
IIncrementalPersister::~IIncrementalPersister() = default;
IIncludeFilter::~IIncludeFilter() = default;
IRestrictedSettingsLoader::~IRestrictedSettingsLoader() = default;

}  // namespace zumra::settings::server
