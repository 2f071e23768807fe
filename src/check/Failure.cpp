#include "zumra/check/Failure.h"

#include "check/FirstFailure.h"

namespace zumra::check {

void FailOnLine(const std::string& message, const char* file, int line) {
    firstFailure.Note(message, file, line);
    throw LeaveCheck();
}

std::string CreateMismatchedStringErrorMessage(const std::string& expected, const std::string& actual) {
    return "expected: " + expected + " but got: " + actual;
}

}  // namespace zumra::check
