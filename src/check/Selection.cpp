#include "check/Selection.h"

#include <fnmatch.h>

#include <algorithm>

namespace zumra::check {

namespace {

bool MatchesAny(const std::vector<std::string>& patterns, const std::string& name) {
    return std::any_of(patterns.begin(), patterns.end(), [&name](const std::string& pattern) {
        return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
    });
}

}  // namespace

std::string FullName(const CheckDescription& check) {
    return std::string(check.suite) + "/" + check.testCase + "/" + check.name;
}

bool Selection::Selects(const CheckDescription& check) const {
    if (!HasPatterns())
        return true;
    const std::string name = FullName(check);
    return (filters.empty() || MatchesAny(filters, name)) && !MatchesAny(excludes, name);
}

}  // namespace zumra::check
