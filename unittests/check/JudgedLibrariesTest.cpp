#include "check/JudgedLibraries.h"

#include <gtest/gtest.h>

#include "check/CommandLine.h"

namespace zumra::check {
namespace {

std::string Refusal(const std::string& version, const std::string& soname) {
    try {
        RequireSameMajorVersion({{"libzumra", version, soname, "/lib/z.so"}}, "1.2.3");
    } catch (const CommandLineError& e) {
        return e.what();
    }
    return "accepted";
}

TEST(JudgedLibraries, AreNoneWhereNoneIsLoaded) {
    EXPECT_TRUE(JudgedLibraries().empty());
}

TEST(JudgedLibraries, MayBeOfAnyVersionOfTheSameMajor) {
    EXPECT_EQ(Refusal("1.2.3", "libzumra.so.1"), "accepted");
    EXPECT_EQ(Refusal("1.99.0-rc1", "libzumra.so.1.99"), "accepted");
    EXPECT_EQ(Refusal("of unknown version", ""), "accepted");
    EXPECT_EQ(Refusal("of unknown version", "libzumra.so"), "accepted");
}

TEST(JudgedLibraries, AreRefusedForAnotherMajorVersion) {
    EXPECT_EQ(Refusal("2.0.0", "libzumra.so.1"),
              "libzumra 2.0.0 (/lib/z.so) is of major version 2; these checks are for major version 1");
    EXPECT_EQ(Refusal("of unknown version", "libzumra.so.10"),
              "libzumra of unknown version (/lib/z.so) is of major version 10; these checks are for major "
              "version 1");
    EXPECT_NE(Refusal("11.0.0", ""), "accepted");
}

}  // namespace
}  // namespace zumra::check
