#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::client {

/// How many want each name and each pattern.
///
/// Thread-safety: one thread at a time.
class SubscribedEntries {
public:
    using Matcher = common::GroupNameMatcher;

    /// Returns the entries that nobody wanted before. When it throws, nothing changed.
    Matcher Add(const Matcher& entries);
    /// Takes away what `Add` added. Returns the entries that nobody wants any more, without needing memory.
    SubscribedEntries Remove(const Matcher& entries) noexcept;
    /// The same for each entry of `entries` once, however many want it there.
    SubscribedEntries Remove(const SubscribedEntries& entries) noexcept;
    [[nodiscard]] bool empty() const noexcept { return _names.empty() && _patterns.empty(); }
    /// Whether somebody wants this group.
    [[nodiscard]] bool Cover(std::string_view group) const;
    /// Everything that somebody wants.
    [[nodiscard]] Matcher All() const;

private:
    using Counts = std::map<std::string, std::size_t, std::less<>>;
    Counts _names;
    Counts _patterns;
};

}  // namespace zumra::settings::client
