#include "zumra/settings/common/GroupNameMatcher.h"

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "zumra/core/IniFile.h"

#include "CheckFrame.h"
#include "Suites.h"

namespace zumra::tests {

using core::IniFile;
using settings::common::GroupNameMatcher;

namespace {

/// What is left of `document` when only the matched groups are written and read again.
IniFile WriteAndRead(const GroupNameMatcher& matcher, const IniFile& document) {
    std::ostringstream text;
    matcher.SerializeIni(text, document);
    IniFile result;
    result.LoadFromString(text.str());
    return result;
}

CHECK(gnm_match_ini_file) {
    const std::set<std::string> groupNames = {"Server", "Source*", "Handler*"};
    IniFile ini;
    ini["Server"];
    GroupNameMatcher matcher;
    matcher.AddNamesAndPatterns(groupNames);

    std::set<std::string> matchedGroupNames;
    matcher.GetMatchingGroups(ini, matchedGroupNames);
    fail_unless(matchedGroupNames.size() == 1);
    fail_unless(matchedGroupNames.find("Server") != matchedGroupNames.end());
}

CHECK(gnm_get_names_and_patterns) {
    const std::set<std::string> groupNames = {"Server", "Source*", "Handler*"};
    GroupNameMatcher matcher;
    matcher.AddNamesAndPatterns(groupNames);

    std::vector<std::string> all(matcher.Names().begin(), matcher.Names().end());
    all.insert(all.end(), matcher.Patterns().begin(), matcher.Patterns().end());
    fail_unless(all.size() == 3);
    fail_unless("Server" == all[0]);
    fail_unless("Handler*" == all[1]);
    fail_unless("Source*" == all[2]);
}

CHECK(gnm_serialize_ini_names) {
    GroupNameMatcher matcher;
    matcher.AddNameOrPattern("abc");
    matcher.AddNameOrPattern("def");
    IniFile ini;
    for (const char* group : {"abc", "def", "ghi"})
        ini[group]["xxx"] = "value";

    ini = WriteAndRead(matcher, ini);
    fail_unless(ini.HasValue("abc", "xxx"));
    fail_unless(ini.HasValue("def", "xxx"));
    fail_if(ini.HasValue("ghi", "xxx"));
}

CHECK(gnm_serialize_ini_patterns) {
    GroupNameMatcher matcher;
    matcher.AddNameOrPattern("abc");
    matcher.AddNameOrPattern("xx*");
    IniFile ini;
    for (const char* group : {"abc", "def", "xxa", "xxb", "xya"})
        ini[group]["xxx"] = "value";

    ini = WriteAndRead(matcher, ini);
    fail_unless(ini.HasValue("abc", "xxx"));
    fail_if(ini.HasValue("def", "xxx"));
    fail_unless(ini.HasValue("xxa", "xxx"));
    fail_unless(ini.HasValue("xxb", "xxx"));
    fail_if(ini.HasValue("xya", "xxx"));
}

const TestCase kAll = {
    "all",
    {
        gnm_match_ini_file,
        gnm_get_names_and_patterns,
        gnm_serialize_ini_names,
        gnm_serialize_ini_patterns,
    },
};

}  // namespace

Suite* GroupNameMatcherTests() {
    return BuildSuite("GroupNameMatcherTests", {kAll});
}

}  // namespace zumra::tests
