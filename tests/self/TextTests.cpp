#include <stdexcept>
#include <string>

#include "CheckFrame.h"
#include "self/Suites.h"

namespace zumra::tests {

namespace {

CHECK(longest_text_is_whole) {
    fail(std::string(4000, 'x'));  // reported
}

CHECK(longer_text_is_cut) {
    fail(std::string(1000000, 'x'));  // reported
}

CHECK(text_is_cut_between_characters) {
    std::string text = "xx";
    for (int i = 0; i < 2000; ++i)
        text += "\xE2\x82\xAC";  // the euro sign
    fail(text);                  // reported
}

CHECK(exception_text_is_cut) {  // reported
    throw std::runtime_error(std::string(5000, 'x'));
}

CHECK(nul_is_shown) {
    fail(std::string("a\0b", 3));  // reported
}

CHECK(markup_is_text) {
    fail("<message attribute=\"a\">&amp;]]></message>");  // reported
}

CHECK(bytes_are_shown) {
    fail("\x1b[31m \x01\x7f\x80\xff \xEF\xBF\xBE \t]]>");  // reported
}

const TestCase kAll = {
    "all",
    {
        longest_text_is_whole,
        longer_text_is_cut,
        text_is_cut_between_characters,
        exception_text_is_cut,
        nul_is_shown,
        markup_is_text,
        bytes_are_shown,
    },
};

}  // namespace

Suite* TextTests() {
    return BuildSuite("TextTests", {kAll});
}

}  // namespace zumra::tests
