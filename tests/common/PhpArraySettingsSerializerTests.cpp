#include "zumra/settings/server/PhpArraySettingsSerializer.h"

#include <sstream>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"

#include "CheckFrame.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::common::GroupNameMatcher;
using settings::server::ISettingsSerializer;
using settings::server::PhpArraySettingsSerializer;

namespace {

std::string Serialize(ISettingsSerializer& serializer, const IniFile& document,
                      const GroupNameMatcher& groups) {
    std::ostringstream out;
    serializer.Serialize(document, groups, out);
    return out.str();
}

IniFile Deserialize(ISettingsSerializer& serializer, const std::string& text) {
    std::istringstream in(text);
    IniFile document;
    serializer.Deserialize(in, document);
    return document;
}

void ExpectDeserializeFailure(ISettingsSerializer& serializer, const char* text, const char* message) {
    std::istringstream in(text);
    IniFile document;
    expect_exception(serializer.Deserialize(in, document), message);
}

CHECK(serialize_deserialize) {
    PhpArraySettingsSerializer serializer;
    GroupNameMatcher groups;
    groups.AddNameOrPattern("*");
    IniFile ini;
    ini["section1"]["value1"] = ":'\"{}";
    ini["section1"]["value2"] = "banana";
    ini["section2"]["abcdef"] = "ghijkl";

    const std::string text = Serialize(serializer, ini, groups);
    check_equal(
        "a:2:{s:8:\"section1\";a:2:{s:6:\"value1\";s:5:\":'\"{}\";s:6:\"value2\";s:6:\"banana\";}"
        "s:8:\"section2\";a:1:{s:6:\"abcdef\";s:6:\"ghijkl\";}}\n\n",
        text);

    IniFile ini2 = Deserialize(serializer, text);
    check_equal(":'\"{}", ini2["section1"]["value1"]);
    check_equal("banana", ini2["section1"]["value2"]);
    check_equal("ghijkl", ini2["section2"]["abcdef"]);
}

CHECK(serialize_deserialize_empty) {
    PhpArraySettingsSerializer serializer;
    GroupNameMatcher groups;
    groups.AddNameOrPattern("*");

    const std::string text = Serialize(serializer, IniFile(), groups);
    check_equal("a:0:{}\n\n", text);
    Deserialize(serializer, text);
}

CHECK(serialize_deserialize_empty_group) {
    PhpArraySettingsSerializer serializer;
    GroupNameMatcher groups;
    IniFile ini;
    ini["group"];
    groups.AddNameOrPattern("*");

    const std::string text = Serialize(serializer, ini, groups);
    check_equal("a:1:{s:5:\"group\";a:0:{}}\n\n", text);
    ini = Deserialize(serializer, text);
    fail_unless(ini.HasGroup("group"));
}

CHECK(serialize_deserialize_empty_setting) {
    PhpArraySettingsSerializer serializer;
    GroupNameMatcher groups;
    IniFile ini;
    ini[""][""] = "";
    groups.AddNameOrPattern("*");

    const std::string text = Serialize(serializer, ini, groups);
    check_equal("a:1:{s:0:\"\";a:1:{s:0:\"\";s:0:\"\";}}\n\n", text);
    ini = Deserialize(serializer, text);
    fail_unless(ini.HasGroup(""));
    // clang-format off
    fail_unless(ini.HasValue("",""));
    // clang-format on
}

CHECK(serialize_patterns) {
    PhpArraySettingsSerializer serializer;
    GroupNameMatcher groups;
    IniFile ini;
    ini["Events/Handler#abcd"]["value1"] = "something";
    ini["Hardware/Drivers/Alarm#1234"]["value2"] = "banana";
    groups.AddNameOrPattern("Events/Handler#*");
    groups.AddNameOrPattern("Hardware/Drivers/Alarm#*");

    check_equal(
        "a:2:{s:19:\"Events/Handler#abcd\";a:1:{s:6:\"value1\";s:9:\"something\";}"
        "s:27:\"Hardware/Drivers/Alarm#1234\";a:1:{s:6:\"value2\";s:6:\"banana\";}}\n\n",
        Serialize(serializer, ini, groups));
}

CHECK(deserialize_1) {
    PhpArraySettingsSerializer serializer;
    IniFile ini = Deserialize(
        serializer,
        "a:2:{s:26:\"Applications/wardex/server\";a:0:{}s:26:\"Event/Source#0000ea84d6dfc\";a:7:{"
        "s:11:\"DwellTimeMs\";s:3:\"100\";s:8:\"Polarity\";s:6:\"normal\";s:10:\"Supervised\";s:5:\"false\";"
        "s:6:\"Device\";s:11:\"/dev/alarm0\";s:4:\"Name\";s:7:\"The one\";s:4:\"Type\";s:5:\"alarm\";"
        "s:3:\"_id\";s:20:\"Source#0000ea84d6dfc\";}}");

    fail_unless(ini.HasGroup("Applications/wardex/server"));
    fail_unless(ini.HasGroup("Event/Source#0000ea84d6dfc"));
    check_equal("100", ini["Event/Source#0000ea84d6dfc"]["DwellTimeMs"]);
    check_equal("normal", ini["Event/Source#0000ea84d6dfc"]["Polarity"]);
}

CHECK(deserialize_invalid) {
    struct Row {
        const char* text;
        const char* message;
    };
    const Row rows[] = {
        {"", "phparray missing data (expected 'a')"},
        {"xxxxx", "expected: 'a' but got: 'x'"},
        {"axxxx", "expected: ':' but got: 'x'"},
        {"a:xxx", "failed to read size specification"},
        {"a:2xx", "expected: ':' but got: 'x'"},
        {"a:2:x", "expected: '{' but got: 'x'"},
        {"a:2:{", "phparray missing data (expected 's')"},
        {"a:2:{s:100:\"1234123", "phparray failed to read 100 characters for string"},
        {"a:2:{s:1:\"1", "phparray missing data (expected '\"')"},
        {"a:2:{s:1:\"1\"", "phparray missing data (expected ';')"},
        {"a:2:{s:1:\"1\";", "phparray missing data (expected 'a')"},
        {"a:2:{s:1:\"1\";a:1:{s:1:\"a\";s:1:\"b\";}", "phparray missing data (expected 's')"},
        {"a:2:{s:1:\"1\";a:1:{s:1:\"a\";s:1:\"b\";}s:1:\"2\"", "phparray missing data (expected ';')"},
    };
    PhpArraySettingsSerializer serializer;
    for (const Row& row : rows)
        ExpectDeserializeFailure(serializer, row.text, row.message);
}

const TestCase kAll = {
    "all",
    {
        serialize_deserialize,
        serialize_deserialize_empty,
        serialize_deserialize_empty_group,
        serialize_deserialize_empty_setting,
        serialize_patterns,
        deserialize_1,
        deserialize_invalid,
    },
};

}  // namespace

Suite* PhpArraySettingsSerializerTests() {
    return BuildSuite("PhpArraySettingsSerializerTests", {kAll});
}

}  // namespace zumra::tests
