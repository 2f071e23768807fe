#pragma once

/// What a check states its expectations with. A failed expectation ends the check; everything it owns is
/// destroyed. They may be used on any thread while the check runs.
///
///     fail_unless(expression)              "Assertion '<expression>' failed"
///     fail_unless(expression, "i = %d", i) the formatted message instead
///     fail_if(expression)                  "Failure '<expression>' occured"
///     fail(message)                        the message, as it stands
///     check_equal("abc", text)             "expected: abc but got: <text>"
///     check_equal(3, number)               "expected: 3 but got: <number>"
///     expect_exception(statement, "why")   the statement throws zumra::osa::Exception: why
///     expect_exception(statement, "")      the statement throws zumra::osa::Exception
///     mark_point()                         a crash or time-out is reported as "after this point"
///
/// The C++ library's headers do not survive a macro named `fail`: include this one (or CheckFrame.h) last.

#include <functional>
#include <string>

#include "zumra/check/Runner.h"

#define fail_unless(expression, ...)                         \
    ((expression) ? _mark_point(__FILE__, __LINE__)          \
                  : ::zumra::tests::Fail(__FILE__, __LINE__, \
                                         "Assertion '" #expression "' failed" __VA_OPT__(, ) __VA_ARGS__))
#define fail_if(expression, ...)                                                                         \
    ((expression) ? ::zumra::tests::Fail(__FILE__, __LINE__,                                             \
                                         "Failure '" #expression "' occured" __VA_OPT__(, ) __VA_ARGS__) \
                  : _mark_point(__FILE__, __LINE__))
#define fail(message) ::zumra::tests::Fail(__FILE__, __LINE__, message)
#define check_equal(expected, actual) ::zumra::tests::CheckEqual(expected, actual, __FILE__, __LINE__)
#define expect_exception(statement, message) \
    ::zumra::tests::ExpectException([&] { statement; }, message, __FILE__, __LINE__)

namespace zumra::tests {

[[noreturn]] void Fail(const char* file, int line, const std::string& message);
/// The form of literals: keeps the building of a string out of the checks, and the text whole in the program.
[[noreturn]] void Fail(const char* file, int line, const char* message);
/// Fails with the formatted message in place of the text about the expression.
[[noreturn]] void Fail(const char* file, int line, const char* expressionText, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

/// A null `expected` equals nothing and is shown as "(null)".
void CheckEqual(const char* expected, const std::string& actual, const char* file, int line);
void CheckEqual(int expected, int actual, const char* file, int line);

/// Passes when `statement` throws zumra::osa::Exception whose text is `message`, or any text when that is
/// empty.
void ExpectException(const std::function<void()>& statement, const char* message, const char* file, int line);

}  // namespace zumra::tests
