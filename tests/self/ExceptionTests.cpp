#include <stdexcept>

#include "CheckFrame.h"
#include "self/Suites.h"
#include "zumra/osa/Exception.h"

namespace zumra::tests {

namespace {

void DoNothing() {}

[[noreturn]] void Throw(const char* message) {
    throw osa::Exception(message);
}

CHECK(std_exception_escapes) {  // reported
    throw std::runtime_error("the disk is 100% full: %s %n %d");
}

CHECK(library_exception_escapes) {  // reported
    Throw("no such group");
}

CHECK(integer_escapes) {  // reported
    throw 3;
}

CHECK(exception_without_text_escapes) {  // reported
    throw std::runtime_error("");
}

CHECK(expected_exception_passes) {
    expect_exception(Throw("as expected"), "as expected");
}

CHECK(any_exception_passes) {
    expect_exception(Throw("whatever"), "");
}

CHECK(expected_exception_does_not_come) {
    expect_exception(DoNothing(), "as expected");  // reported
}

CHECK(any_exception_does_not_come) {
    expect_exception(DoNothing(), "");  // reported
}

CHECK(exception_with_other_text_comes) {
    expect_exception(Throw("as 100% unexpected"), "as expected");  // reported
}

CHECK(exception_with_longer_text_comes) {
    expect_exception(Throw("as expected, but longer"), "as expected");  // reported
}

CHECK(exception_of_other_type_comes) {
    expect_exception(throw std::runtime_error("as expected"), "as expected");  // reported
}

CHECK(integer_comes) {
    expect_exception(throw 3, "");  // reported
}

CHECK(failure_inside_the_statement_stays) {
    expect_exception(fail_unless(false), "as expected");  // reported
}

const TestCase kAll = {
    "all",
    {
        std_exception_escapes,
        library_exception_escapes,
        integer_escapes,
        exception_without_text_escapes,
        expected_exception_passes,
        any_exception_passes,
        expected_exception_does_not_come,
        any_exception_does_not_come,
        exception_with_other_text_comes,
        exception_with_longer_text_comes,
        exception_of_other_type_comes,
        integer_comes,
        failure_inside_the_statement_stays,
    },
};

}  // namespace

Suite* ExceptionTests() {
    return BuildSuite("ExceptionTests", {kAll});
}

}  // namespace zumra::tests
