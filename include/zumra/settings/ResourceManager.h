#pragma once

#include <list>
#include <string>

#include "zumra/Export.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// All resources and all consumers at once: answers for any consumer and resource, and reserves several
/// resources for a consumer in one step. The settings, the arithmetic, the rules under contention and the
/// exceptions are those of `ResourceReserver`; see there.
///
///     ResourceManager manager(&client);
///     if (manager.ReserveForConsumer("Analytics", {{"DSP", false, 40, 0}, {"CPU", true, 0, 0.25}})) {
///         Run();
///     }
///
/// Nothing is cached: each query reads one consistent state of the resource's settings.
///
/// Thread-safety: every operation may be called from any thread, and waits for the server's answers.
///
/// Lifetime: the client is not owned and must outlive the manager.
class ZUMRA_EXPORT ResourceManager {
public:
    /// One use of one resource.
    struct ResourceUsage {
        std::string resource;
        /// Whether `percent` counts, otherwise `amount`.
        bool usePercent = false;
        /// In the resource's units.
        int amount = 0;
        /// A fraction of the resource's total, from 0 to 1, rounded up as by
        /// `ResourceReserver::TrySetUsagePercent`.
        double percent = 0;
    };

    /// Reads nothing. Throws `zumra::osa::Exception` when `client` is null.
    explicit ResourceManager(ZumraSettingsClient* client);
    /// Leaves the settings alone.
    ~ResourceManager();  // NOLINT(performance-trivially-destructible): may have more to do one day
    ResourceManager(const ResourceManager&) = delete;
    ResourceManager& operator=(const ResourceManager&) = delete;

    /// What the consumer may use of the resource now, in the resource's units; its own use is not taken off.
    /// A resource without settings has 100.
    [[nodiscard]] int GetAvailable(const std::string& consumer, const std::string& resource) const;
    /// What the consumer uses of the resource now, in the resource's units.
    [[nodiscard]] int GetUsed(const std::string& consumer, const std::string& resource) const;

    /// Sets what the consumer uses of every listed resource, in place of what it used of them before; what it
    /// uses of others stays. All or nothing, in one step that nobody sees half done: true when every use
    /// fits, otherwise false, and nothing is changed.
    ///
    /// Refused too: an amount below 0; a fraction below 0, above 1, or that is no number; a list that names a
    /// resource twice, because it does not say which use is meant. An empty list is accepted and does
    /// nothing.
    ///
    /// Throws `zumra::osa::Exception` "Failed to reserve resources for '<consumer>': the settings changed
    /// during each of 100 attempts".
    bool ReserveForConsumer(const std::string& consumer, const std::list<ResourceUsage>& usages);

private:
    ZumraSettingsClient* _client;
};

}  // namespace zumra::settings
