#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Document;
using testing::MemoryStorage;

TEST(SavingTest, CommitIsSavedWhenItsOperationReturns) {
    MemoryStorage storage;
    SettingsManager store(&storage);
    store.MergeSettings(Document("[a]\nx=1\n[b]\n"));
    EXPECT_EQ(storage.settings, Document("[a]\nx=1\n[b]\n"));
    store.SetValue("a", "x", "2");
    EXPECT_EQ(storage.settings, Document("[a]\nx=2\n[b]\n"));
    store.SetValue("a", "x", "3");
    EXPECT_EQ(storage.settings, Document("[a]\nx=3\n[b]\n"));
    store.EraseGroups(GroupNameMatcher("a"));
    EXPECT_EQ(storage.settings, Document("[b]\n"));
    EXPECT_EQ(storage.saves, 4);
    EXPECT_EQ(store.Statistics().savedRevision, 4U);
}

TEST(SavingTest, NothingIsWrittenWhenNothingChanged) {
    MemoryStorage storage;
    storage.defaults = Document("[d]\nx=1\n");
    storage.settings = Document("[a]\nx=1\n");
    {
        SettingsManager store(&storage);
        store.MergeSettings(Document("[a]\nx=1\n[d]\nx=1\n"));
        store.RestoreToDefaults(GroupNameMatcher("*"));
        store.EraseGroups(GroupNameMatcher("none"));
        store.OverwriteSettings(GroupNameMatcher("a"), Document("[a]\nx=1\n"));
        EXPECT_EQ(store.Revision(), 1U) << "an overwrite is a commit, but there is nothing to be written";
        store.Flush();
        EXPECT_EQ(storage.saves, 0);
        store.SetValue("a", "x", "2");
        store.OverwriteSettings(GroupNameMatcher("a"), Document("[a]\nx=2\n"));
        EXPECT_EQ(store.Statistics().savedRevision, 3U);
    }
    EXPECT_EQ(storage.saves, 1);
}

TEST(SavingTest, SavedDocumentIsTheDifferenceFromTheDefaults) {
    MemoryStorage storage;
    storage.defaults = Document(
        "[same]\nx=1\n[changed]\nx=1\ny=2\nz=3\n[gone1]\nx=1\n[gone2]\n[ZumraSettings/Removed]\nx=1\ny=1\n");
    SettingsManager store(&storage);
    store.MergeSettings(
        Document("[changed]\nx=other\nnew=1\n[own]\nx=1\n[empty]\n[ZumraSettings/Removed/x]\ny=1\n"));
    store.EraseValue("changed", "y");
    store.EraseValue("ZumraSettings/Removed", "y");
    store.EraseGroups(GroupNameMatcher("gone*"));
    EXPECT_EQ(storage.settings, Document("[changed]\nnew=1\nx=other\n"
                                         "[own]\nx=1\n"
                                         "[empty]\n"
                                         "[ZumraSettings/Removed]\ngone1=\ngone2=\n"
                                         "[ZumraSettings/Removed/changed]\ny=\n"
                                         "[ZumraSettings/Removed/ZumraSettings/Removed]\ny=\n"
                                         "[ZumraSettings/Removed!ZumraSettings/Removed/x]\ny=1\n"));
    store.RestoreToDefaults(GroupNameMatcher("*"));
    store.EraseGroups(GroupNameMatcher(std::set<std::string>{"own", "empty", "ZumraSettings/Removed/x"}));
    EXPECT_TRUE(storage.settings.empty()) << storage.settings.SaveToString();
}

TEST(SavingTest, NewDefaultsAppearUnlessOverriddenOrRemoved) {
    MemoryStorage storage;
    storage.defaults = Document("[a]\nset=1\nremoved=1\nfree=1\n[gone]\nx=1\n");
    {
        SettingsManager store(&storage);
        store.SetValue("a", "set", "mine");
        store.EraseValue("a", "removed");
        store.EraseGroups(GroupNameMatcher("gone"));
    }
    storage.defaults = Document("[a]\nset=2\nremoved=2\nfree=2\nnew=2\n[gone]\nx=2\n[fresh]\nx=2\n");
    const SettingsManager store(&storage);
    core::IniFile all;
    store.GetSettings(GroupNameMatcher("*"), all);
    EXPECT_EQ(all, Document("[a]\nset=mine\nfree=2\nnew=2\n[fresh]\nx=2\n"));
}

TEST(SavingTest, RequestMadeAgainAfterAFailedSaveIsSavedToo) {
    MemoryStorage storage;
    SettingsManager store(&storage);
    storage.failuresLeft = 2;
    const core::IniFile wanted = Document("[a]\nx=1\n");
    EXPECT_THROW(store.MergeSettings(wanted), osa::Exception);
    EXPECT_THROW(store.MergeSettings(wanted), osa::Exception) << "nothing to change, but still to be saved";
    EXPECT_EQ(store.MergeSettings(wanted), 1U);
    EXPECT_EQ(storage.settings, wanted);
    storage.failuresLeft = 1;
    EXPECT_THROW(store.SetValue("a", "x", "2"), osa::Exception);
    EXPECT_EQ(store.SetValue("a", "x", "2"), 2U);
    EXPECT_EQ(storage.settings, Document("[a]\nx=2\n"));
}

/// A saved document that nobody but a person can have written: names that a save would write otherwise.
TEST(SavingTest, GroupsSavedUnderOtherNamesGoWhenTheyAreErased) {
    const core::IniFile byHand =
        Document("[ZumraSettings/Removedx]\nx=1\n[ZumraSettings/Removed!plain]\nx=1\n");
    MemoryStorage storage;
    storage.settings = byHand;
    {
        SettingsManager store(&storage);
        EXPECT_EQ(store.GetValue("ZumraSettings/Removedx", "x"), "1");
        EXPECT_EQ(store.GetValue("plain", "x"), "1");
    }
    EXPECT_EQ(storage.saves, 0) << "starting writes nothing";
    {
        SettingsManager store(&storage);
        store.EraseGroups(GroupNameMatcher("plain"));
        EXPECT_EQ(storage.settings, Document("[ZumraSettings/Removed!ZumraSettings/Removedx]\nx=1\n"));
        store.EraseGroups(GroupNameMatcher("*"));
    }
    EXPECT_TRUE(storage.settings.empty()) << storage.settings.SaveToString();
}

}  // namespace
}  // namespace zumra::settings::server
