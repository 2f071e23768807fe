#include "check/NearestName.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace zumra::check {

namespace {

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

/// Levenshtein's distance, a row of its table at a time.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (Lower(a[i]) == Lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string_view NearestName(std::string_view given, const std::vector<std::string_view>& names) {
    const auto nearest = std::min_element(names.begin(), names.end(), [given](auto a, auto b) {
        return Distance(given, a) < Distance(given, b);
    });
    return nearest == names.end() ? std::string_view() : *nearest;
}

}  // namespace zumra::check
