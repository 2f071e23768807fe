#include "settings/client/ResourceReservation.h"

#include "settings/client/AtomicUpdate.h"

namespace zumra::settings::client {
namespace {

std::optional<int> AmountOf(const WantedUse& use, const ResourceView& view) {
    return use.fraction ? AmountOfFraction(*use.fraction, view.Total()) : use.amount;
}

/// The new uses, when each of them fits.
std::optional<core::IniFile> UsesThatFit(const core::IniFile& current, const std::string& consumer,
                                         const std::vector<WantedUse>& wanted) {
    core::IniFile uses;
    for (const WantedUse& use : wanted) {
        const ResourceView view(current, use.layout);
        const std::optional<int> amount = AmountOf(use, view);
        if (!amount || !view.Fits(consumer, *amount)) {
            return std::nullopt;
        }
        uses[use.layout.ConsumerGroup(consumer)][ResourceLayout::kCurrentlyUsed] = std::to_string(*amount);
    }
    return uses;
}

}  // namespace

core::IniFile ReadResource(IBackend& backend, const ResourceLayout& layout) {
    core::IniFile document;
    backend.Get(layout.Groups(), document);
    return document;
}

bool Reserve(IBackend& backend, const std::string& consumer, const std::vector<WantedUse>& wanted,
             const std::string& what) {
    IBackend::Matcher groups;
    for (const WantedUse& use : wanted) {
        use.layout.AddGroupsTo(groups);
    }
    const auto decide = [&](const core::IniFile& current) { return UsesThatFit(current, consumer, wanted); };
    return AtomicUpdate(backend, groups, decide, what);
}

}  // namespace zumra::settings::client
