#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Document;

/// Keeps what it was given, call by call.
class IncrementalStorage : public IIncrementalPersister {
public:
    void LoadDefaults(SettingsCombiner& combiner) override { combiner.LoadFromIni(defaults); }
    void LoadSettings(SettingsCombiner& combiner) override { combiner.LoadFromIni(settings); }
    void SaveSettings(const core::IniFile&) override { ADD_FAILURE() << "the whole is never saved"; }
    void SaveChanges(const core::IniFile& changed, const std::set<std::string>& removed) override {
        calls.push_back({changed, removed});
        if (fail) {
            throw osa::Exception("locked");
        }
    }

    struct Call {
        core::IniFile changed;
        std::set<std::string> removed;
    };
    core::IniFile defaults;
    core::IniFile settings;
    std::vector<Call> calls;
    bool fail = false;
};

TEST(IncrementalSaveTest, IncrementalPersisterIsGivenOnlyWhatChanged) {
    IncrementalStorage storage;
    storage.defaults = Document("[d]\nx=1\ny=1\n");
    storage.settings = Document("[a]\nx=1\n[b]\nx=1\n");
    SettingsManager store(&storage);
    store.SetValue("a", "y", "2");
    store.EraseValue("d", "y");
    store.EraseGroups(GroupNameMatcher("b"));
    store.EraseGroups(GroupNameMatcher("d"));
    store.RestoreToDefaults(GroupNameMatcher("d"));
    ASSERT_EQ(storage.calls.size(), 5U);
    EXPECT_EQ(storage.calls[0].changed, Document("[a]\nx=1\ny=2\n"));
    EXPECT_TRUE(storage.calls[0].removed.empty());
    EXPECT_EQ(storage.calls[1].changed, Document("[ZumraSettings/Removed/d]\ny=\n"));
    EXPECT_TRUE(storage.calls[2].changed.empty());
    EXPECT_EQ(storage.calls[2].removed, std::set<std::string>{"b"});
    EXPECT_EQ(storage.calls[3].changed, Document("[ZumraSettings/Removed]\nd=\n"));
    EXPECT_EQ(storage.calls[4].removed, (std::set<std::string>{"d", "ZumraSettings/Removed"}));
}

TEST(IncrementalSaveTest, IncrementalPersisterIsGivenGroupsUnderTheirRightNames) {
    IncrementalStorage storage;
    storage.settings =
        Document("[ZumraSettings/Removedx]\nx=1\n[ZumraSettings/Removed!plain]\ny=1\n[plain]\nx=1\n");
    SettingsManager store(&storage);
    EXPECT_TRUE(storage.calls.empty());
    store.SetValue("a", "x", "1");
    ASSERT_EQ(storage.calls.size(), 1U);
    EXPECT_EQ(storage.calls[0].changed,
              Document("[a]\nx=1\n[ZumraSettings/Removed!ZumraSettings/Removedx]\nx=1\n[plain]\nx=1\ny=1\n"));
    EXPECT_EQ(storage.calls[0].removed,
              (std::set<std::string>{"ZumraSettings/Removed!plain", "ZumraSettings/Removedx"}));
}

TEST(IncrementalSaveTest, IncrementalPersisterIsGivenAgainWhatItFailedToSave) {
    IncrementalStorage storage;
    storage.settings = Document("[b]\nx=1\n");
    SettingsManager store(&storage);
    storage.fail = true;
    EXPECT_THROW(store.SetValue("a", "x", "1"), osa::Exception);
    EXPECT_THROW(store.EraseGroups(GroupNameMatcher("b")), osa::Exception);
    storage.fail = false;
    store.SetValue("c", "x", "1");
    ASSERT_EQ(storage.calls.size(), 3U);
    EXPECT_EQ(storage.calls[2].changed, Document("[a]\nx=1\n[c]\nx=1\n"));
    EXPECT_EQ(storage.calls[2].removed, std::set<std::string>{"b"});
}

TEST(IncrementalSaveTest, WhatWasTakenBackAfterAFailedSaveIsNotSaved) {
    IncrementalStorage storage;
    storage.settings = Document("[b]\nx=1\n");
    SettingsManager store(&storage);
    storage.fail = true;
    EXPECT_THROW(store.SetValue("a", "x", "1"), osa::Exception);
    EXPECT_THROW(store.EraseGroups(GroupNameMatcher("b")), osa::Exception);
    EXPECT_THROW(store.EraseGroups(GroupNameMatcher("a")), osa::Exception);
    storage.fail = false;
    store.SetValue("b", "x", "2");
    EXPECT_EQ(storage.calls.back().changed, Document("[b]\nx=2\n"));
    EXPECT_EQ(storage.calls.back().removed, std::set<std::string>{"a"});
}

}  // namespace
}  // namespace zumra::settings::server
