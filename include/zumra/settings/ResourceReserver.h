#pragma once

#include <string>

#include "zumra/Export.h"

namespace zumra::settings {

class ZumraSettingsClient;

/// One consumer's view of one shared, countable resource: how much of it the consumer may use, and setting
/// what it does use. Everything is in the settings; reservers of the same store see each other's uses.
///
///     ResourceReserver dsp(&client, "DSP", "Analytics");
///     if (dsp.TrySetUsage(40)) {
///         Run();
///         dsp.TrySetUsage(0);
///     }
///
/// Settings of a resource:
///
/// | group                                   | value            | meaning                       | absent  |
/// |-----------------------------------------|------------------|-------------------------------|---------|
/// | `Resources/<resource>`                  | `TotalAvailable` | how much there is             | 100     |
/// | `Resources/<resource>/AllowedConsumers` | "00", "01", ...  | the consumers that may use it | all may |
/// | `Resources/<resource>/Consumers/<name>` | `CurrentlyUsed`  | what the consumer uses now    | 0       |
/// |                                         | `MaxAllowed`     | the most that it may use      | no cap  |
///
/// Names stand in the groups' names as they are, and may hold any text; only a resource's name must not have
/// a part "Consumers" after a "/", nor end in "/AllowedConsumers", where its group would be one of another
/// resource.
///
/// Available to a consumer is the total without what all others use, but at most its cap, and nothing when it
/// is not allowed. What it uses itself is not taken off; another's cap reserves nothing. It is never below 0,
/// also when more is used than there is.
///
/// Numbers are whole, with an optional sign, and nothing else in the text. What cannot be read never grants
/// anything: an unreadable total or cap is 0, an unreadable use counts as the whole total until it is set
/// anew. Negative numbers count as 0, those beyond the largest `int` as that.
///
/// Many may reserve at once, in any number of threads and processes: a use is written only if nothing of the
/// resource has changed since it was found to fit, otherwise it is decided again. So all uses together never
/// exceed the total by reserving, and none overwrites another's. Of many who contend some always succeed;
/// one whom others overtake 100 times in a row gives up with an exception, without having changed anything,
/// and may simply try again. Pauses between its tries grow up to a tenth of a second.
///
/// Nothing is cached: each query reads one consistent state of the resource's settings, and an operation
/// costs what the settings of the resource's consumers cost to read.
///
/// Thread-safety: every operation may be called from any thread, and waits for the server's answers.
///
/// Exceptions: every operation throws `zumra::osa::Exception` when the client cannot read or write.
///
/// Lifetime: the client is not owned and must outlive the reserver.
class ZUMRA_EXPORT ResourceReserver {
public:
    /// Reads nothing. Throws `zumra::osa::Exception` when `client` is null, and "Invalid resource name
    /// '<resource>': ..." for a name that lies within another resource, see above.
    ResourceReserver(ZumraSettingsClient* client, const std::string& resource, const std::string& consumer);
    /// Leaves the settings alone: what the consumer uses stays in use.
    ~ResourceReserver();
    ResourceReserver(const ResourceReserver&) = delete;
    ResourceReserver& operator=(const ResourceReserver&) = delete;

    /// Whether the consumer may use the resource at all. An existing but empty list allows nobody.
    [[nodiscard]] bool IsAuthorized() const;
    /// How much there is, in the resource's units; a cap does not lower it.
    [[nodiscard]] int GetTotalResources() const;
    /// The most that `TrySetUsage` accepts now, in the resource's units.
    [[nodiscard]] int GetAvailableResources() const;
    /// The same as a fraction of the total, from 0 to 1; 0 when the total is 0.
    [[nodiscard]] double GetAvailableResourcesPercent() const;
    /// What the consumer uses, in the resource's units.
    [[nodiscard]] int GetCurrentUsage() const;

    /// Sets what the consumer uses, in place of what it used before. True when `amount` is from 0 to what is
    /// available; otherwise false, and nothing is changed. Other values of the consumer's group stay.
    /// Whoever is not allowed, or uses more than has become available, can still set 0.
    ///
    /// Throws `zumra::osa::Exception` "Failed to set what '<consumer>' uses of '<resource>': the settings
    /// changed during each of 100 attempts".
    bool TrySetUsage(int amount);
    /// The same, in a fraction of the total from 0 to 1: the product, rounded up to a whole unit. A millionth
    /// of a unit is not rounded up, so a fraction computed as k / total is exactly k. False, and nothing is
    /// changed, for a fraction below 0, above 1, or that is no number.
    bool TrySetUsagePercent(double fraction);

private:
    ZumraSettingsClient* _client;
    std::string _resource;
    std::string _consumer;
};

}  // namespace zumra::settings
