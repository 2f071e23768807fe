#include "settings/client/ValueText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace zumra::settings::client {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Without the "+" that `std::from_chars` does not take; a sign after it makes the text no number.
std::string_view WithoutPlus(std::string_view text) {
    const bool plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    return plus ? text.substr(1) : text;
}

template <class Number, class... Format>
std::optional<Number> ParseWhole(std::string_view text, Format... format) {
    const std::string_view number = WithoutPlus(text);
    const char* const end = number.data() + number.size();
    Number value{};
    const auto [stop, error] = std::from_chars(number.data(), end, value, format...);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

}  // namespace

template <class Integer>
std::optional<Integer> ParseInteger(std::string_view text) {
    return ParseWhole<Integer>(text, 10);
}

template std::optional<int> ParseInteger<int>(std::string_view);
template std::optional<unsigned> ParseInteger<unsigned>(std::string_view);
template std::optional<std::int64_t> ParseInteger<std::int64_t>(std::string_view);
template std::optional<std::uint64_t> ParseInteger<std::uint64_t>(std::string_view);

std::optional<double> ParseDouble(std::string_view text) {
    const auto value = ParseWhole<double>(text, std::chars_format::general);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<bool> ParseBool(std::string_view text) {
    if (text == "true") {
        return true;
    }
    if (text == "false") {
        return false;
    }
    return std::nullopt;
}

std::optional<int> ParseAmount(std::string_view text) {
    const bool negative = !text.empty() && text[0] == '-';
    const bool sign = negative || (!text.empty() && text[0] == '+');
    const std::string_view digits = text.substr(sign ? 1 : 0);
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), IsDigit)) {
        return std::nullopt;
    }
    if (negative) {
        return 0;
    }
    return ParseInteger<int>(digits).value_or(std::numeric_limits<int>::max());
}

}  // namespace zumra::settings::client
