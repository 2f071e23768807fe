#include "zumra/core/IniFile.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zumra::core {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(IniFile, StartsEmpty) {
    const IniFile document;
    EXPECT_TRUE(document.empty());
    EXPECT_EQ(0u, document.size());
    EXPECT_EQ(document.begin(), document.end());
    EXPECT_EQ("", document.SaveToString());
}

TEST(IniFile, IndexMakesGroupsAndValues) {
    IniFile document;
    document["abc"]["xxx"] = "value";
    document["Server"];
    EXPECT_TRUE(document.HasGroup("abc"));
    EXPECT_TRUE(document.HasGroup("Server"));
    EXPECT_FALSE(document.HasGroup("server"));
    EXPECT_TRUE(document.HasValue("abc", "xxx"));
    EXPECT_FALSE(document.HasValue("Server", "xxx"));
    EXPECT_FALSE(document.HasValue("Other", "xxx"));
    EXPECT_EQ("value", document.GetValue("abc", "xxx"));
    EXPECT_EQ(2u, document.size());
}

TEST(IniFile, AnEmptyValueCounts) {
    IniFile document;
    document["g"]["v"];
    EXPECT_TRUE(document.HasValue("g", "v"));
    EXPECT_EQ("", document.GetValue("g", "v"));
}

TEST(IniFile, EveryKindOfTextIndexesTheSameGroup) {
    IniFile document;
    document["g"]["a"] = "1";
    document["g"s]["b"] = "2";
    document["g"sv]["c"] = "3";
    std::string name = "g";
    document[name]["d"] = "4";
    EXPECT_EQ(1u, document.size());
    EXPECT_EQ(4u, document.FindGroup("g")->size());
    document["n\0l"sv];
    EXPECT_TRUE(document.HasGroup("n\0l"sv));
    EXPECT_FALSE(document.HasGroup("n"));
}

TEST(IniFile, WhatIsNotThereIsEmptyOrNull) {
    IniFile document;
    document["g"]["v"] = "1";
    EXPECT_EQ("", document.GetValue("g", "x"));
    EXPECT_EQ("", document.GetValue("x", "v"));
    EXPECT_EQ(nullptr, document.FindGroup("x"));
    EXPECT_EQ(nullptr, document.FindValue("g", "x"));
    EXPECT_EQ(nullptr, document.FindValue("x", "v"));
    ASSERT_NE(nullptr, document.FindValue("g", "v"));
    EXPECT_EQ("1", *document.FindValue("g", "v"));
}

TEST(IniFile, IteratesInByteOrder) {
    IniFile document;
    for (const std::string_view name : {"b"sv, "\xff"sv, ""sv, "a/b"sv, "a"sv, "B"sv, "\0"sv}) {
        document[name];
    }
    std::vector<std::string> names;
    for (const auto& [name, values] : document) {
        names.push_back(name);
    }
    EXPECT_EQ((std::vector<std::string>{"", "\0"s, "B", "a", "a/b", "b", "\xff"}), names);
}

TEST(IniFile, ErasesGroupsAndValues) {
    IniFile document;
    document["g"]["a"] = "1";
    document["g"]["b"] = "2";
    EXPECT_FALSE(document.EraseValue("x", "a"));
    EXPECT_FALSE(document.EraseValue("g", "x"));
    EXPECT_TRUE(document.EraseValue("g", "a"));
    EXPECT_FALSE(document.HasValue("g", "a"));
    EXPECT_TRUE(document.EraseValue("g", "b"));
    EXPECT_TRUE(document.HasGroup("g"));
    EXPECT_FALSE(document.EraseGroup("x"));
    EXPECT_TRUE(document.EraseGroup("g"));
    EXPECT_TRUE(document.empty());
}

TEST(IniFile, SetGroupReplacesTheWholeGroup) {
    IniFile document;
    document["g"]["old"] = "1";
    document.SetGroup("g", {{"new", "2"}});
    document.SetGroup("h", {});
    EXPECT_FALSE(document.HasValue("g", "old"));
    EXPECT_EQ("2", document.GetValue("g", "new"));
    EXPECT_TRUE(document.HasGroup("h"));
}

TEST(IniFile, ComparesGroupsNamesAndValues) {
    IniFile a;
    IniFile b;
    EXPECT_TRUE(a == b);
    a["g"];
    EXPECT_TRUE(a != b);
    b["g"];
    EXPECT_TRUE(a == b);
    a["g"]["v"] = "1";
    b["g"]["v"] = "2";
    EXPECT_FALSE(a == b);
}

TEST(IniFile, MovesAndSwapsWithoutCopying) {
    static_assert(std::is_nothrow_move_constructible_v<IniFile>);
    static_assert(std::is_nothrow_move_assignable_v<IniFile>);
    IniFile a;
    a["g"]["v"] = "1";
    const auto* group = a.FindGroup("g");
    IniFile b = std::move(a);
    EXPECT_EQ(group, b.FindGroup("g"));
    IniFile c;
    swap(b, c);
    EXPECT_EQ(group, c.FindGroup("g"));
    EXPECT_TRUE(b.empty());
}

IniFile Target() {
    IniFile document;
    document["both"]["only target"] = "1";
    document["both"]["shared"] = "target";
    document["target"]["v"] = "2";
    return document;
}

IniFile Source() {
    IniFile document;
    document["both"]["only source"] = "3";
    document["both"]["shared"] = "source";
    document["empty"];
    document["source"]["v"] = "4";
    return document;
}

constexpr char kMerged[] =
    "[both]\nonly source = 3\nonly target = 1\nshared = source\n\n[empty]\n\n[source]\nv = 4\n\n"
    "[target]\nv = 2\n\n";

TEST(IniFile, HandsOverItsGroupsWithoutCopying) {
    IniFile document;
    document["a"]["x"] = "1";
    document["b"];
    const std::string* const value = document.FindValue("a", "x");
    const IniFile::Groups groups = document.TakeGroups();
    EXPECT_TRUE(document.empty());
    EXPECT_EQ((IniFile::Groups{{"a", {{"x", "1"}}}, {"b", {}}}), groups);
    EXPECT_EQ(value, &groups.at("a").at("x"));
}

TEST(IniFile, MergeCopiesEverythingOfTheOther) {
    IniFile target = Target();
    const IniFile source = Source();
    target.MergeSettings(source);
    EXPECT_EQ(kMerged, target.SaveToString());
    EXPECT_EQ(Source(), source);
}

TEST(IniFile, MergeOfATemporaryGivesTheSame) {
    IniFile target = Target();
    target.MergeSettings(Source());
    EXPECT_EQ(kMerged, target.SaveToString());
}

TEST(IniFile, MergeAfterClearIsACopy) {
    IniFile target = Target();
    target.Clear();
    EXPECT_TRUE(target.empty());
    target.MergeSettings(Source());
    EXPECT_EQ(Source(), target);
}

TEST(IniFile, MergeWithItselfChangesNothing) {
    IniFile document = Target();
    document.MergeSettings(document);
    EXPECT_EQ(Target(), document);
    IniFile& same = document;
    document.MergeSettings(std::move(same));
    EXPECT_EQ(Target(), document);
}

}  // namespace
}  // namespace zumra::core
