#include "zumra/settings/ResourceReserver.h"

#include "settings/client/Require.h"
#include "settings/client/ResourceReservation.h"

namespace zumra::settings {

using client::ReadResource;
using client::ResourceLayout;
using client::ResourceView;
using client::WantedUse;

namespace {

/// Reads the resource and hands the view of it to `ask`.
template <class Ask>
auto Query(client::IBackend& backend, const std::string& resource, Ask ask) {
    const ResourceLayout layout(resource);
    const core::IniFile document = ReadResource(backend, layout);
    return ask(ResourceView(document, layout));
}

std::string SetUse(const std::string& consumer, const std::string& resource) {
    return "set what '" + consumer + "' uses of '" + resource + "'";
}

}  // namespace

ResourceReserver::ResourceReserver(ZumraSettingsClient* client, const std::string& resource,
                                   const std::string& consumer)
    : _client(client::RequireNotNull(client, "ResourceReserver", "client")),
      _resource(resource),
      _consumer(consumer) {
    static_cast<void>(ResourceLayout(resource));  // throws for an invalid name
}

ResourceReserver::~ResourceReserver() = default;

bool ResourceReserver::IsAuthorized() const {
    return Query(_client->Backend(), _resource,
                 [this](const ResourceView& view) { return view.Allows(_consumer); });
}

int ResourceReserver::GetTotalResources() const {
    return Query(_client->Backend(), _resource, [](const ResourceView& view) { return view.Total(); });
}

int ResourceReserver::GetAvailableResources() const {
    return Query(_client->Backend(), _resource,
                 [this](const ResourceView& view) { return view.Available(_consumer); });
}

double ResourceReserver::GetAvailableResourcesPercent() const {
    return Query(_client->Backend(), _resource,
                 [this](const ResourceView& view) { return view.AvailableFraction(_consumer); });
}

int ResourceReserver::GetCurrentUsage() const {
    return Query(_client->Backend(), _resource,
                 [this](const ResourceView& view) { return view.Used(_consumer); });
}

bool ResourceReserver::TrySetUsage(int amount) {
    const WantedUse use{ResourceLayout(_resource), amount};
    return client::Reserve(_client->Backend(), _consumer, {use}, SetUse(_consumer, _resource));
}

bool ResourceReserver::TrySetUsagePercent(double fraction) {
    const WantedUse use{ResourceLayout(_resource), 0, fraction};
    return client::Reserve(_client->Backend(), _consumer, {use}, SetUse(_consumer, _resource));
}

}  // namespace zumra::settings
