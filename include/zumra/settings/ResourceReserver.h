#pragma once

#include <string>

#include "zumra/Export.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// One consumer's view of one shared resource.
class ZUMRA_EXPORT ResourceReserver {
public:
    ResourceReserver(ZumraSettingsClient* client, const std::string& resource, const std::string& consumer);
    ~ResourceReserver();
    ResourceReserver(const ResourceReserver&) = delete;
    ResourceReserver& operator=(const ResourceReserver&) = delete;

    [[nodiscard]] bool IsAuthorized() const;
    [[nodiscard]] int GetTotalResources() const;
    [[nodiscard]] int GetAvailableResources() const;
    [[nodiscard]] double GetAvailableResourcesPercent() const;
    [[nodiscard]] int GetCurrentUsage() const;
    bool TrySetUsage(int amount);
    bool TrySetUsagePercent(double fraction);

private:
    ZumraSettingsClient* _client;
    std::string _resource;
    std::string _consumer;
};

}  // namespace zumra::settings
