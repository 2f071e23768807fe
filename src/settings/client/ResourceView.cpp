#include "settings/client/ResourceView.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <utility>

#include "settings/client/ValueText.h"

namespace zumra::settings::client {
namespace {

constexpr int kTotalWhenAbsent = 100;

// A product of a rounded fraction and a total below 2^31 is off by less than half of this, and no fraction
// that a person means (k/n with n up to thousands) is that near above a whole number.
constexpr double kRoundingTolerance = 1e-6;

bool BeginsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

ResourceView::ResourceView(const core::IniFile& document, ResourceLayout layout)
    : _document(document), _layout(std::move(layout)) {}

std::optional<int> ResourceView::Amount(const std::string& group, const char* name,
                                        int whenUnreadable) const {
    const std::string* text = _document.FindValue(group, name);
    if (text == nullptr) {
        return std::nullopt;
    }
    return ParseAmount(*text).value_or(whenUnreadable);
}

bool ResourceView::Allows(const std::string& consumer) const {
    const auto* list = _document.FindGroup(_layout.AllowedConsumersGroup());
    return list == nullptr || std::any_of(list->begin(), list->end(), [&consumer](const auto& entry) {
               return entry.second == consumer;
           });
}

int ResourceView::Total() const {
    return Amount(_layout.Group(), ResourceLayout::kTotalAvailable, 0).value_or(kTotalWhenAbsent);
}

int ResourceView::Used(const std::string& consumer) const {
    return Amount(_layout.ConsumerGroup(consumer), ResourceLayout::kCurrentlyUsed, Total()).value_or(0);
}

int ResourceView::UsedByOthers(const std::string& consumer) const {
    const std::string prefix = _layout.ConsumersPrefix();
    const std::string own = _layout.ConsumerGroup(consumer);
    const int total = Total();
    std::int64_t used = 0;
    const auto& groups = _document.AllGroups();
    for (auto it = groups.lower_bound(prefix); it != groups.end() && BeginsWith(it->first, prefix); ++it) {
        if (it->first != own) {
            used += Amount(it->first, ResourceLayout::kCurrentlyUsed, total).value_or(0);
            used = std::min<std::int64_t>(used, total);
        }
    }
    return static_cast<int>(used);
}

int ResourceView::Available(const std::string& consumer) const {
    if (!Allows(consumer)) {
        return 0;
    }
    const int left = Total() - UsedByOthers(consumer);
    const auto cap = Amount(_layout.ConsumerGroup(consumer), ResourceLayout::kMaxAllowed, 0);
    return std::min(left, cap.value_or(left));
}

double ResourceView::AvailableFraction(const std::string& consumer) const {
    const int total = Total();
    return total == 0 ? 0.0 : static_cast<double>(Available(consumer)) / total;
}

std::optional<int> AmountOfFraction(double fraction, int total) {
    const bool inRange = fraction >= 0 && fraction <= 1;  // false for what is no number
    if (!inRange) {
        return std::nullopt;
    }
    return static_cast<int>(std::ceil(fraction * total - kRoundingTolerance));
}

}  // namespace zumra::settings::client
