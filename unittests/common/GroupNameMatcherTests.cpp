#include "zumra/settings/common/GroupNameMatcher.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/Hostile.h"

namespace zumra::settings::common {
namespace {

using Names = std::vector<std::string>;
using Set = std::set<std::string>;

core::IniFile DocumentOf(const Names& groups) {
    core::IniFile document;
    for (const std::string& group : groups) {
        document[group]["xxx"] = "value";
    }
    return document;
}

Names Visited(const GroupNameMatcher& groups, const core::IniFile& document) {
    Names names;
    groups.ForEachMatch(document.AllGroups(), [&names](auto at) { names.push_back(at->first); });
    return names;
}

GroupNameMatcher Of(const Set& entries) {
    return GroupNameMatcher(entries);
}

TEST(GroupNameMatcher, MatchesNothingWhenEmpty) {
    const GroupNameMatcher groups;
    EXPECT_TRUE(groups.empty());
    EXPECT_FALSE(groups.Matches(""));
    EXPECT_EQ(Names{}, Visited(groups, DocumentOf({"", "a"})));
}

TEST(GroupNameMatcher, KeepsNamesAndPatternsApartAndInOrder) {
    const GroupNameMatcher groups = Of({"Server", "Source*", "Handler*", "a*b", ""});
    EXPECT_EQ((GroupNameMatcher::Strings{"", "Server", "a*b"}), groups.Names());
    EXPECT_EQ((GroupNameMatcher::Strings{"Handler*", "Source*"}), groups.Patterns());
}

TEST(GroupNameMatcher, PatternsMatchByPrefixOnly) {
    const GroupNameMatcher groups("xx*");
    EXPECT_TRUE(groups.Matches("xx"));
    EXPECT_TRUE(groups.Matches("xxa"));
    EXPECT_FALSE(groups.Matches("xya"));
    EXPECT_FALSE(groups.Matches("x"));
    EXPECT_FALSE(groups.Matches("axx"));
    EXPECT_FALSE(groups.Matches("XXA"));
}

TEST(GroupNameMatcher, AStarAloneMatchesEverything) {
    const GroupNameMatcher groups("*");
    EXPECT_TRUE(groups.Matches(""));
    EXPECT_TRUE(groups.Matches("\xff\xff"));
    EXPECT_EQ((Names{"", "a", "\xff"}), Visited(groups, DocumentOf({"a", "", "\xff"})));
}

TEST(GroupNameMatcher, AStarInTheMiddleIsAnOrdinaryCharacter) {
    GroupNameMatcher groups("a*b");
    EXPECT_TRUE(groups.Matches("a*b"));
    EXPECT_FALSE(groups.Matches("axb"));
    groups.AddNameOrPattern("c**");
    EXPECT_TRUE(groups.Matches("c*d"));
    EXPECT_FALSE(groups.Matches("cd"));
}

TEST(GroupNameMatcher, AnExactNameMayEndInAStar) {
    GroupNameMatcher groups;
    groups.AddName("abc*");
    EXPECT_TRUE(groups.Matches("abc*"));
    EXPECT_FALSE(groups.Matches("abcd"));
    EXPECT_TRUE(groups.Patterns().empty());
    EXPECT_EQ((Names{"abc*"}), Visited(groups, DocumentOf({"abc", "abc*", "abc**", "abcd"})));
    EXPECT_FALSE(groups.Remove("abc*")) << "there is no such pattern";
    EXPECT_TRUE(groups.RemoveName("abc*"));
    EXPECT_FALSE(groups.RemoveName("abc*"));
    EXPECT_TRUE(groups.empty());
}

TEST(GroupNameMatcher, FindsMatchingGroupsAndKeepsWhatIsInTheSet) {
    Set found = {"before"};
    core::IniFile document = DocumentOf({"abc", "def", "xxa", "xxb", "xya"});
    document["Server"];
    Of({"abc", "xx*", "x*", "Server"}).GetMatchingGroups(document, found);
    EXPECT_EQ((Set{"Server", "abc", "before", "xxa", "xxb", "xya"}), found);
}

TEST(GroupNameMatcher, WritesMatchingGroupsAsIni) {
    std::ostringstream out;
    Of({"abc", "xx*"}).SerializeIni(out, DocumentOf({"abc", "def", "xxa", "xxb", "xya"}));
    EXPECT_EQ("[abc]\nxxx = value\n\n[xxa]\nxxx = value\n\n[xxb]\nxxx = value\n\n", out.str());
}

TEST(GroupNameMatcher, WritesLargeDocumentsWhole) {
    core::IniFile document;
    for (int i = 0; i < 5000; ++i) {
        document[std::to_string(i)]["v"] = std::string(50, 'x');
    }
    std::ostringstream out;
    GroupNameMatcher("*").SerializeIni(out, document);
    EXPECT_TRUE(document.SaveToString() == out.str());
}

TEST(GroupNameMatcher, RemovesWhatWasAdded) {
    GroupNameMatcher groups = Of({"a", "a*", "ab*"});
    EXPECT_FALSE(groups.Remove("ab"));
    EXPECT_FALSE(groups.Remove("b*"));
    EXPECT_TRUE(groups.Remove("a*"));
    EXPECT_FALSE(groups.Remove("a*"));
    EXPECT_TRUE(groups.Matches("abc")) << "another pattern covers it";
    EXPECT_TRUE(groups.Matches("a"));
    EXPECT_FALSE(groups.Matches("ac"));
    EXPECT_TRUE(groups.Remove("a"));
    EXPECT_FALSE(groups.Matches("a"));
    EXPECT_TRUE(groups.Remove("ab*"));
    EXPECT_TRUE(groups.empty());
}

TEST(GroupNameMatcher, AddsAnotherMatcher) {
    GroupNameMatcher groups("a");
    GroupNameMatcher other = Of({"b*", "c"});
    other.AddName("d*");
    groups.Add(other);
    groups.Add(groups);
    EXPECT_EQ((GroupNameMatcher::Strings{"a", "c", "d*"}), groups.Names());
    EXPECT_EQ((GroupNameMatcher::Strings{"b*"}), groups.Patterns());
    EXPECT_TRUE(groups.Matches("bcd"));
    EXPECT_TRUE(groups.Matches("d*"));
    EXPECT_FALSE(groups.Matches("de"));
}

TEST(GroupNameMatcher, TakesTheEntriesOfAnotherWhereTheyAre) {
    GroupNameMatcher groups = Of({"a", "p*"});
    GroupNameMatcher other = Of({"a", "b", "p*", "q*"});
    const std::string* const name = &*other.Names().find("b");
    const std::string* const pattern = &*other.Patterns().find("q*");
    groups.Add(std::move(other));
    EXPECT_EQ(name, &*groups.Names().find("b"));
    EXPECT_EQ(pattern, &*groups.Patterns().find("q*"));
    EXPECT_EQ((GroupNameMatcher::Strings{"a", "b"}), groups.Names());
    EXPECT_EQ((GroupNameMatcher::Strings{"p*", "q*"}), groups.Patterns());
    EXPECT_TRUE(groups.Matches("qq"));
}

TEST(GroupNameMatcher, RemovesTheEntriesOfAnother) {
    const auto removed = [](GroupNameMatcher groups, const GroupNameMatcher& other) {
        const GroupNameMatcher::Extent before = groups.GetExtent();
        const GroupNameMatcher::Extent less = groups.Remove(other);
        EXPECT_EQ(before.entries, groups.GetExtent().entries + less.entries);
        EXPECT_EQ(before.bytes, groups.GetExtent().bytes + less.bytes);
        return groups;
    };
    const GroupNameMatcher many = Of({"a", "b", "c", "pp*", "q*"});
    const GroupNameMatcher few = Of({"b", "x", "q*"});
    EXPECT_EQ((GroupNameMatcher::Strings{"a", "c"}), removed(many, few).Names());
    EXPECT_EQ((GroupNameMatcher::Strings{"pp*"}), removed(many, few).Patterns());
    EXPECT_FALSE(removed(many, few).Matches("qq"));
    EXPECT_TRUE(removed(many, few).Matches("ppp"));
    EXPECT_EQ((GroupNameMatcher::Strings{"x"}), removed(few, many).Names());
    EXPECT_FALSE(removed(few, many).Matches("qq"));
    GroupNameMatcher itself = many;
    EXPECT_EQ(5U, itself.GetExtent().entries);
    EXPECT_EQ(8U, itself.Remove(itself).bytes);
    EXPECT_TRUE(itself.empty());
}

TEST(GroupNameMatcher, VisitsEachOnceInOrderWhereEntriesOverlap) {
    const auto document = DocumentOf({"a", "a!", "a!x", "a*", "aa", "ab", "b"});
    EXPECT_EQ((Names{"a", "a!", "a!x", "a*", "aa", "ab"}),
              Visited(Of({"a*", "a!*", "aa*", "a", "aa", "ab", "a!x"}), document));
    EXPECT_EQ((Names{"a!", "a!x", "aa", "b"}), Visited(Of({"a!*", "aa*", "aa", "b", "c", ""}), document));
}

TEST(GroupNameMatcher, VisitsMayChangeValues) {
    core::IniFile document = DocumentOf({"a", "b"});
    std::map<std::string, int, std::less<>> map = {{"a", 1}, {"ab", 2}, {"b", 3}};
    GroupNameMatcher("a*").ForEachMatch(map, [](auto at) { at->second += 10; });
    EXPECT_EQ((std::map<std::string, int, std::less<>>{{"a", 11}, {"ab", 12}, {"b", 3}}), map);
}

/// The rule itself, entry by entry.
bool Expected(const Set& entries, const std::string& name) {
    for (const std::string& entry : entries) {
        const bool pattern = !entry.empty() && entry.back() == '*';
        if (pattern ? name.compare(0, entry.size() - 1, entry, 0, entry.size() - 1) == 0 : name == entry) {
            return true;
        }
    }
    return false;
}

std::string RandomName(test::HostileTexts& random) {
    static constexpr std::string_view kBytes = "!*+ab\xff";
    std::string name;
    for (std::size_t i = random.Number(6); i > 0; --i) {
        name += kBytes[random.Number(kBytes.size())];
    }
    return name;
}

TEST(GroupNameMatcher, AgreesWithTheRuleOnRandomEntriesAndNames) {
    test::HostileTexts random(1);
    for (int i = 0; i < 5000; ++i) {
        Set entries;
        for (std::size_t j = random.Number(8); j > 0; --j) {
            entries.insert(RandomName(random) + (random.Number(2) == 0 ? "*" : ""));
        }
        core::IniFile document;
        Names expected;
        for (int j = 0; j < 30; ++j) {
            document[RandomName(random)];
        }
        const GroupNameMatcher groups(entries);
        for (const auto& [name, values] : document) {
            ASSERT_EQ(Expected(entries, name), groups.Matches(name)) << name;
            if (Expected(entries, name)) {
                expected.push_back(name);
            }
        }
        ASSERT_EQ(expected, Visited(groups, document));
    }
}

/// A map's key that counts how often a key is looked at.
struct CountingKey {
    std::string text;
    static inline std::size_t looks = 0;
    operator std::string_view() const {
        ++looks;
        return text;
    }
};

struct Less {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const { return a < b; }
};

TEST(GroupNameMatcher, CostsALookUpAnEntryNotTheMap) {
    std::map<CountingKey, int, Less> map;
    for (int i = 0; i < 100000; ++i) {
        map.emplace(CountingKey{"group" + std::to_string(i)}, i);
    }
    CountingKey::looks = 0;
    int visits = 0;
    Of({"group77777", "group1234*", "none", "none*"}).ForEachMatch(map, [&visits](auto) { ++visits; });
    EXPECT_EQ(12, visits);
    EXPECT_LT(CountingKey::looks, 4u * 40u);
}

}  // namespace
}  // namespace zumra::settings::common
