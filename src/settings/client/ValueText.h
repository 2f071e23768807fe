#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace zumra::settings::client {

// How the texts of settings are read as values. Nothing but the whole text counts, whatever the locale;
// absent when it is not of the form or the value is out of the type's range.

/// An optional "-" (signed types) or "+", then decimal digits. For `int`, `unsigned`, `std::int64_t` and
/// `std::uint64_t`.
template <class Integer>
[[nodiscard]] std::optional<Integer> ParseInteger(std::string_view text);

/// An optional "-" or "+", then a decimal number with or without fraction and exponent; finite.
[[nodiscard]] std::optional<double> ParseDouble(std::string_view text);

/// "true" or "false".
[[nodiscard]] std::optional<bool> ParseBool(std::string_view text);

/// An integer of any length, brought into 0 .. INT_MAX.
[[nodiscard]] std::optional<int> ParseAmount(std::string_view text);

}  // namespace zumra::settings::client
