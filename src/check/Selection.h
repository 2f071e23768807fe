#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "zumra/check/Registration.h"

namespace zumra::check {

/// "SUITE/CASE/CHECK", by which people call a check.
std::string FullName(const CheckDescription& check);

/// Which checks a command line asks for.
struct Selection {
    /// Empty: all.
    std::set<std::string, std::less<>> suites;
    /// Patterns as of a shell for a check's full name, in which "*", "?" and "[...]" stand for a slash too.
    /// Without filters every check is asked for, otherwise those that match one or more; an exclude beats
    /// every filter.
    std::vector<std::string> filters;
    std::vector<std::string> excludes;

    [[nodiscard]] bool HasPatterns() const { return !filters.empty() || !excludes.empty(); }
    /// Whether a suite of this name is asked for, whatever is in it.
    [[nodiscard]] bool Enables(std::string_view suite) const {
        return suites.empty() || suites.find(suite) != suites.end();
    }
    /// By its full name; the suite's own name has been looked at with `Enables`.
    [[nodiscard]] bool Selects(const CheckDescription& check) const;
};

}  // namespace zumra::check
