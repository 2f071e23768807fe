#pragma once

#include <optional>
#include <string>

#include "settings/client/ResourceLayout.h"
#include "zumra/core/IniFile.h"

namespace zumra::settings::client {

/// What one state of the settings says about one resource. Texts that cannot be read never grant anything:
///
/// | value            | absent | negative | beyond `int`      | not a whole number                          |
/// |------------------|--------|----------|-------------------|---------------------------------------------|
/// | `TotalAvailable` | 100    | 0        | the largest `int` | 0                                           |
/// | `CurrentlyUsed`  | 0      | 0        | the largest `int` | the total: it may be that all is taken      |
/// | `MaxAllowed`     | no cap | 0        | the largest `int` | 0                                           |
///
/// Thread-safety: as of a const document. The document must outlive the view.
class ResourceView {
public:
    ResourceView(const core::IniFile& document, ResourceLayout layout);

    /// True when no list of allowed consumers exists or when it names the consumer.
    [[nodiscard]] bool Allows(const std::string& consumer) const;
    [[nodiscard]] int Total() const;
    [[nodiscard]] int Used(const std::string& consumer) const;
    /// The total without what all other consumers use, at most the consumer's cap, never below 0; 0 for one
    /// that is not allowed. The consumer's own use is not taken off.
    [[nodiscard]] int Available(const std::string& consumer) const;
    /// Available divided by total; 0 when the total is 0.
    [[nodiscard]] double AvailableFraction(const std::string& consumer) const;
    /// Whether the consumer may use that much.
    [[nodiscard]] bool Fits(const std::string& consumer, int amount) const {
        return amount >= 0 && amount <= Available(consumer);
    }

private:
    [[nodiscard]] std::optional<int> Amount(const std::string& group, const char* name,
                                            int whenUnreadable) const;
    [[nodiscard]] int UsedByOthers(const std::string& consumer) const;

    const core::IniFile& _document;
    ResourceLayout _layout;
};

/// The whole number of units that a fraction of the total takes: their product rounded up, except that a
/// millionth of a unit is no further unit, so that a fraction computed as k / total gives exactly k again.
/// Absent for a fraction below 0, above 1, or that is no number.
[[nodiscard]] std::optional<int> AmountOfFraction(double fraction, int total);

}  // namespace zumra::settings::client
