#include "zumra/settings/ResourceManager.h"

#include "settings/client/Require.h"
#include "settings/client/ResourceReservation.h"

namespace zumra::settings {

using client::ReadResource;
using client::ResourceLayout;
using client::ResourceView;
using client::WantedUse;

namespace {

/// Absent when a resource is named twice.
std::optional<std::vector<WantedUse>> WantedUses(const std::list<ResourceManager::ResourceUsage>& usages) {
    std::set<std::string> resources;
    std::vector<WantedUse> wanted;
    for (const auto& usage : usages) {
        if (!resources.insert(usage.resource).second) {
            return std::nullopt;
        }
        const auto fraction = usage.usePercent ? std::optional(usage.percent) : std::nullopt;
        wanted.push_back(WantedUse{ResourceLayout(usage.resource), usage.amount, fraction});
    }
    return wanted;
}

}  // namespace

ResourceManager::ResourceManager(ZumraSettingsClient* client)
    : _client(client::RequireNotNull(client, "ResourceManager", "client")) {}

ResourceManager::~ResourceManager() = default;

int ResourceManager::GetAvailable(const std::string& consumer, const std::string& resource) const {
    const ResourceLayout layout(resource);
    const core::IniFile document = ReadResource(_client->Backend(), layout);
    return ResourceView(document, layout).Available(consumer);
}

int ResourceManager::GetUsed(const std::string& consumer, const std::string& resource) const {
    const ResourceLayout layout(resource);
    const core::IniFile document = ReadResource(_client->Backend(), layout);
    return ResourceView(document, layout).Used(consumer);
}

bool ResourceManager::ReserveForConsumer(const std::string& consumer,
                                         const std::list<ResourceUsage>& usages) {
    const auto wanted = WantedUses(usages);
    if (!wanted) {
        return false;
    }
    return wanted->empty() ||
           client::Reserve(_client->Backend(), consumer, *wanted, "reserve resources for '" + consumer + "'");
}

}  // namespace zumra::settings
