#include <string>

#include "CheckFrame.h"
#include "self/Suites.h"

namespace zumra::tests {

namespace {

#define NOTHING_LEFT (left == 0)

CHECK(unless_passes) {
    fail_unless(1 + 1 == 2);
    fail_unless(true, "never %s", "seen");
}

CHECK(if_passes) {
    fail_if(std::string("abc").empty());
}

CHECK(unless_fails) {
    const std::string text = "abc";
    fail_unless(text.size() == 2);  // reported
    fail("not reached");
}

CHECK(unless_keeps_macros) {
    const int left = 1;
    fail_unless(true == NOTHING_LEFT);  // reported
}

CHECK(unless_keeps_quotes_and_percent_signs) {
    const std::string text = "abc";
    fail_unless(text.find("%s%n\"") != std::string::npos);  // reported
}

CHECK(unless_with_message) {
    const int i = 7;
    fail_unless(i < 7, "i = %d", i);  // reported
}

CHECK(unless_with_long_message) {
    const std::string tail(5000, 'y');
    fail_unless(false, "%s", tail.c_str());  // reported
}

CHECK(if_fails) {
    const std::string text = "abc";
    fail_if(text.size() == 3);  // reported
    fail("not reached");
}

CHECK(if_with_message) {
    fail_if(true, "%d%% of %s", 100, "it");  // reported
}

CHECK(fail_with_percent_signs) {
    fail("100% of %s and %n");  // reported
}

const TestCase kAll = {
    "all",
    {
        unless_passes,
        if_passes,
        unless_fails,
        unless_keeps_macros,
        unless_keeps_quotes_and_percent_signs,
        unless_with_message,
        unless_with_long_message,
        if_fails,
        if_with_message,
        fail_with_percent_signs,
    },
};

}  // namespace

Suite* FormTests() {
    return BuildSuite("FormTests", {kAll});
}

}  // namespace zumra::tests
