#include <string>

#include "CheckFrame.h"
#include "self/Suites.h"

namespace zumra::tests {

namespace {

CHECK(equal_strings_pass) {
    check_equal("abc", "abc");
    check_equal("", std::string());
}

CHECK(other_string_fails) {
    check_equal("abc", "abd");  // reported
}

CHECK(string_cut_at_nul_fails) {
    check_equal("abc", std::string("abc\0d", 5));  // reported
}

CHECK(null_equals_no_string) {
    check_equal(nullptr, "abc");  // reported
}

CHECK(null_does_not_equal_empty_string) {
    check_equal(nullptr, "");  // reported
}

CHECK(equal_integers_pass) {
    check_equal(3, 3);
    check_equal(-1, -1);
}

CHECK(other_integer_fails) {
    check_equal(3, 2);  // reported
}

CHECK(negative_integer_fails) {
    check_equal(-2147483647, 2147483647);  // reported
}

const TestCase kStrings = {
    "strings",
    {
        equal_strings_pass,
        other_string_fails,
        string_cut_at_nul_fails,
        null_equals_no_string,
        null_does_not_equal_empty_string,
    },
};

const TestCase kIntegers = {
    "integers",
    {
        equal_integers_pass,
        other_integer_fails,
        negative_integer_fails,
    },
};

}  // namespace

Suite* EqualityTests() {
    return BuildSuite("EqualityTests", {kStrings, kIntegers});
}

}  // namespace zumra::tests
