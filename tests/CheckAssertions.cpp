#include "CheckAssertions.h"

#include <cstdarg>
#include <cstdio>
#include <optional>

#include "zumra/check/Failure.h"
#include "zumra/osa/Exception.h"

namespace zumra::tests {

void Fail(const char* file, int line, const std::string& message) {
    check::FailOnLine(message, file, line);
}

void Fail(const char* file, int line, const char* message) {
    check::FailOnLine(message, file, line);
}

void Fail(const char* file, int line, const char* /*expressionText*/, const char* format, ...) {
    std::string message(4000, '\0');  // longer ones are cut to this anyway
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(message.data(), message.size() + 1, format, arguments);
    va_end(arguments);
    message.resize(message.find_last_not_of('\0') + 1);
    check::FailOnLine(message, file, line);
}

void CheckEqual(const char* expected, const std::string& actual, const char* file, int line) {
    if (expected != nullptr && actual == expected)
        return;
    check::FailOnLine(
        check::CreateMismatchedStringErrorMessage(expected == nullptr ? "(null)" : expected, actual), file,
        line);
}

void CheckEqual(int expected, int actual, const char* file, int line) {
    if (expected == actual)
        return;
    check::FailOnLine("expected: " + std::to_string(expected) + " but got: " + std::to_string(actual), file,
                      line);
}

void ExpectException(const std::function<void()>& statement, const char* message, const char* file,
                     int line) {
    std::optional<std::string> thrown;
    try {
        statement();
    } catch (const osa::Exception& e) {
        thrown = e.what();
    } catch (...) {
        // A failure made by the statement itself comes by here too; it was noted before this one and stays
        // the first.
        check::FailOnLine("Expected zumra::osa::Exception but instead caught unknown exception", file, line);
    }
    if (!thrown)
        check::FailOnLine("Expected zumra::osa::Exception with message " + std::string(message), file, line);
    if (*message != '\0' && *thrown != message)
        check::FailOnLine(check::CreateMismatchedStringErrorMessage(message, *thrown), file, line);
}

}  // namespace zumra::tests
