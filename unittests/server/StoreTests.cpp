#include <gtest/gtest.h>

#include <string>

#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Document;

core::IniFile Everything(const SettingsManager& store, const Identity* who = nullptr) {
    core::IniFile all;
    store.GetSettings(GroupNameMatcher("*"), all, who);
    return all;
}

TEST(StoreTest, StartsEmptyAtRevisionZero) {
    const SettingsManager store;
    EXPECT_EQ(store.Revision(), 0U);
    EXPECT_TRUE(Everything(store).empty());
    EXPECT_EQ(store.GetValue("a", "b"), std::nullopt);
}

TEST(StoreTest, MergeAddsAndReplacesAndRemovesNothing) {
    SettingsManager store;
    EXPECT_EQ(store.MergeSettings(Document("[a]\nx=1\ny=2\n[b]\nz=3\n")), 1U);
    EXPECT_EQ(store.MergeSettings(Document("[a]\ny=5\nw=6\n[c]\n")), 2U);
    EXPECT_EQ(Everything(store), Document("[a]\nw=6\nx=1\ny=5\n[b]\nz=3\n[c]\n"));
}

TEST(StoreTest, MergeThatChangesNothingIsNoCommit) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n[empty]\n"));
    EXPECT_EQ(store.MergeSettings(Document("[a]\nx=1\n[empty]\n")), 1U);
    EXPECT_EQ(store.MergeSettings(core::IniFile()), 1U);
    EXPECT_EQ(store.SetValue("a", "x", "1"), 1U);
    EXPECT_EQ(store.MergeSettings(Document("[a]\n[new]\n")), 2U) << "a new empty group is a change";
}

TEST(StoreTest, ReaderKeepsTheStateThatItRead) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\ny=2\n"));
    const common::GroupMap read = store.Read(GroupNameMatcher("a"));
    store.SetValue("a", "x", "changed");
    store.EraseValue("a", "y");
    EXPECT_EQ(*read.at("a"), (core::IniFile::Group{{"x", "1"}, {"y", "2"}}));
    EXPECT_EQ(Everything(store), Document("[a]\nx=changed\n"));
    store.EraseGroups(GroupNameMatcher("a"));
    EXPECT_EQ(read.at("a")->at("x"), "1");
}

TEST(StoreTest, ReadsOnlyWhatMatchesAndKeepsTheRestOfTheTarget) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n[ab]\nx=2\n[b]\nx=3\n"));
    core::IniFile target = Document("[a]\nold=1\n[b]\nold=1\n");
    store.GetSettings(GroupNameMatcher("a*"), target);
    EXPECT_EQ(target, Document("[a]\nx=1\n[ab]\nx=2\n[b]\nold=1\n"));
}

TEST(StoreTest, LongValuesAreReadWhole) {
    SettingsManager store;
    const std::string text(100000, 'v');
    store.SetValue("a", "x", text);
    EXPECT_EQ(store.GetValue("a", "x"), text);
}

TEST(StoreTest, OverwriteReplacesWhatMatchesAndWhatItBrings) {
    SettingsManager store;
    store.MergeSettings(Document("[a1]\nx=1\n[a2]\nx=1\n[b]\nx=1\ny=2\n[c]\nx=1\n"));
    EXPECT_EQ(store.OverwriteSettings(GroupNameMatcher("a*"), Document("[a2]\nz=9\n[b]\nx=7\n[n]\n")), 2U);
    EXPECT_EQ(Everything(store), Document("[a2]\nz=9\n[b]\nx=7\n[c]\nx=1\n[n]\n"));
}

TEST(StoreTest, OverwriteIsACommitAlsoWhenTheContentStaysTheSame) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\n"));
    EXPECT_EQ(store.OverwriteSettings(GroupNameMatcher("a"), Document("[a]\nx=1\n")), 2U);
    EXPECT_EQ(store.OverwriteSettings(GroupNameMatcher("nothing*"), core::IniFile()), 2U);
}

TEST(StoreTest, EraseRemovesGroupsAndEraseValueKeepsTheGroup) {
    SettingsManager store;
    store.MergeSettings(Document("[a1]\nx=1\n[a2]\nx=1\n[b]\nx=1\n"));
    EXPECT_EQ(store.EraseGroups(GroupNameMatcher("a*")), 2U);
    EXPECT_EQ(store.EraseGroups(GroupNameMatcher("a*")), 2U);
    EXPECT_EQ(store.EraseValue("b", "none"), 2U);
    EXPECT_EQ(store.EraseValue("none", "x"), 2U);
    EXPECT_EQ(store.EraseValue("b", "x"), 3U);
    EXPECT_EQ(Everything(store), Document("[b]\n"));
}

TEST(StoreTest, RestoreTouchesOnlyGroupsOfTheDefaults) {
    SettingsManager store(Document("[d1]\nx=1\n[d2]\nx=2\n[d3]\nx=3\n"));
    store.MergeSettings(Document("[d1]\nx=changed\nextra=1\n[own]\nx=1\n[d3]\nx=changed\n"));
    store.EraseGroups(GroupNameMatcher("d2"));
    const std::uint64_t before = store.Revision();
    EXPECT_EQ(store.RestoreToDefaults(GroupNameMatcher(std::set<std::string>{"d1", "d2", "own"})),
              before + 1);
    EXPECT_EQ(Everything(store), Document("[d1]\nx=1\n[d2]\nx=2\n[own]\nx=1\n[d3]\nx=changed\n"));
    EXPECT_EQ(store.RestoreToDefaults(GroupNameMatcher("d1")), before + 1) << "nothing to change any more";
    store.SetValue("d1", "x", "again");
    EXPECT_EQ(store.RestoreToDefaults(GroupNameMatcher("d*")), before + 3);
    EXPECT_EQ(Everything(store), Document("[d1]\nx=1\n[d2]\nx=2\n[own]\nx=1\n[d3]\nx=3\n"))
        << "the defaults were not touched by changes of the groups that shared them";
}

TEST(StoreTest, TestAndMergeComparesOnlyTheExpectedValues) {
    SettingsManager store;
    store.MergeSettings(Document("[a]\nx=1\ny=2\n"));
    const TestResult merged = store.TestAndMerge(Document("[a]\nx=1\n[absent]\n"), Document("[a]\nx=3\n"));
    EXPECT_TRUE(merged.merged);
    EXPECT_FALSE(merged.difference);
    EXPECT_EQ(merged.revision, 2U);
    EXPECT_EQ(Everything(store), Document("[a]\nx=3\ny=2\n"));
}

void ExpectDifference(const TestResult& result, const std::string& group, std::optional<std::string> name,
                      std::optional<std::string> expected, std::optional<std::string> actual) {
    EXPECT_FALSE(result.merged);
    ASSERT_TRUE(result.difference);
    EXPECT_EQ(result.difference->group, group);
    EXPECT_EQ(result.difference->name, name);
    EXPECT_EQ(result.difference->expected, expected);
    EXPECT_EQ(result.difference->actual, actual);
}

TEST(StoreTest, RefusedTestSaysWhatDiffersAndChangesNothing) {
    SettingsManager store;
    const core::IniFile content = Document("[a]\nx=1\ny=2\n");
    store.MergeSettings(content);
    const core::IniFile merge = Document("[b]\nx=3\n");
    ExpectDifference(store.TestAndMerge(Document("[a]\nx=1\ny=3\n"), merge), "a", "y", "3", "2");
    ExpectDifference(store.TestAndMerge(Document("[a]\nz=1\n"), merge), "a", "z", "1", std::nullopt);
    ExpectDifference(store.TestAndMerge(Document("[c]\nz=1\n"), merge), "c", "z", "1", std::nullopt);
    EXPECT_EQ(Everything(store), content);
    EXPECT_EQ(store.Revision(), 1U);
}

TEST(StoreTest, ExactTestNamesTheFirstDifference) {
    SettingsManager store;
    store.MergeSettings(Document("[g1]\nx=1\ny=2\n[g2]\nx=1\n[other]\nx=1\n"));
    const GroupNameMatcher groups("g*");
    const core::IniFile merge = Document("[n]\nx=3\n");
    const auto test = [&](const char* expected) {
        return store.TestExactlyAndMerge(groups, Document(expected), merge);
    };
    ExpectDifference(test("[g1]\nx=1\ny=2\n"), "g2", std::nullopt, std::nullopt, "");
    ExpectDifference(test("[g1]\nx=1\ny=2\n[g11]\n[g2]\nx=1\n"), "g11", std::nullopt, std::nullopt,
                     std::nullopt);
    ExpectDifference(test("[g1]\nx=1\ny=2\n[g2]\nx=1\n[g3]\n"), "g3", std::nullopt, std::nullopt,
                     std::nullopt);
    ExpectDifference(test("[g1]\nx=1\ny=2\n[g2]\nx=1\n[other]\nx=1\n"), "other", std::nullopt, std::nullopt,
                     std::nullopt);
    ExpectDifference(test("[g1]\nx=1\n[g2]\nx=1\n"), "g1", "y", std::nullopt, "2");
    ExpectDifference(test("[g1]\ny=2\n[g2]\nx=1\n"), "g1", "x", std::nullopt, "1");
    ExpectDifference(test("[g1]\nx=1\nxx=1\ny=2\n[g2]\nx=1\n"), "g1", "xx", "1", std::nullopt);
    ExpectDifference(test("[g1]\nx=1\ny=2\nz=1\n[g2]\nx=1\n"), "g1", "z", "1", std::nullopt);
    ExpectDifference(test("[g1]\nx=1\ny=2\n[g2]\nx=2\n"), "g2", "x", "2", "1");
    EXPECT_EQ(store.Revision(), 1U);
    EXPECT_TRUE(test("[g1]\nx=1\ny=2\n[g2]\nx=1\n").merged);
    EXPECT_EQ(store.GetValue("n", "x"), "3");
}

TEST(StoreTest, ExactTestForNothingSeesAGroupThatAppeared) {
    SettingsManager store;
    const GroupNameMatcher groups("g");
    EXPECT_TRUE(store.TestExactlyAndMerge(groups, {}, Document("[g]\n")).merged);
    EXPECT_FALSE(store.TestExactlyAndMerge(groups, {}, Document("[g]\n")).merged);
}

TEST(StoreTest, StatisticsCountGroupsAndListeners) {
    SettingsManager store;
    testing::RecordingCallback callback;
    store.Subscribe(&callback, {"a"});
    store.MergeSettings(Document("[a]\nx=1\n[b]\n"));
    const StoreStatistics statistics = store.Statistics();
    EXPECT_EQ(statistics.revision, 1U);
    EXPECT_EQ(statistics.savedRevision, 1U) << "without a persister all is saved";
    EXPECT_EQ(statistics.groups, 2U);
    EXPECT_EQ(statistics.listeners, 1U);
    store.UnSubscribe(&callback);
    EXPECT_EQ(store.Statistics().listeners, 0U);
}

}  // namespace
}  // namespace zumra::settings::server
