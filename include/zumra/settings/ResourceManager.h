#pragma once

#include <list>
#include <string>

#include "zumra/Export.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// All resources and all consumers at once.
class ZUMRA_EXPORT ResourceManager {
public:
    struct ResourceUsage {
        std::string resource;
        bool usePercent = false;
        int amount = 0;
        double percent = 0;
    };

    explicit ResourceManager(ZumraSettingsClient* client);
    ~ResourceManager();
    ResourceManager(const ResourceManager&) = delete;
    ResourceManager& operator=(const ResourceManager&) = delete;

    [[nodiscard]] int GetAvailable(const std::string& consumer, const std::string& resource) const;
    [[nodiscard]] int GetUsed(const std::string& consumer, const std::string& resource) const;
    bool ReserveForConsumer(const std::string& consumer, const std::list<ResourceUsage>& usages);

private:
    ZumraSettingsClient* _client;
};

}  // namespace zumra::settings
