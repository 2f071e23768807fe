#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>

#include "server/StoreDoubles.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

using common::GroupNameMatcher;
using testing::Document;
using Users = RestrictedGroups::Users;

Identity Someone(std::uint32_t uid, std::set<std::uint32_t> gids = {}) {
    Identity who;
    who.uid = uid;
    who.gids = std::move(gids);
    return who;
}

const Users kEveryone{true, {}, {}};

class RestrictionTest : public ::testing::Test {
protected:
    RestrictionTest() {
        restrictions.groups.rules = {
            {GroupNameMatcher("public/*"), kEveryone, Users{false, {1}, {100}}},
            {GroupNameMatcher("secret/*"), Users{false, {1}, {200}}, Users{false, {1}, {}}},
            {GroupNameMatcher("public/shared"), Users{false, {1, 2}, {}}, kEveryone},
        };
        storage.defaults = Document("[free]\nx=1\n[public/a]\nx=1\n[public/shared]\nx=1\n[secret/a]\nx=1\n");
        store = std::make_unique<SettingsManager>(&storage, &restrictions);
    }

    core::IniFile Seen(const Identity* who) const {
        core::IniFile all;
        store->GetSettings(GroupNameMatcher("*"), all, who);
        return all;
    }

    /// The operation is refused with this group's name, and nothing changes.
    template <class Operation>
    void ExpectRefused(const std::string& group, Operation operation) {
        const core::IniFile before = Seen(nullptr);
        const std::uint64_t revision = store->Revision();
        try {
            operation();
            ADD_FAILURE() << "writing '" << group << "' was allowed";
        } catch (const osa::Exception& error) {
            EXPECT_EQ(error.what(), "not allowed to write group '" + group + "'");
        }
        EXPECT_EQ(Seen(nullptr), before);
        EXPECT_EQ(store->Revision(), revision);
    }

    testing::MemoryStorage storage;
    testing::FixedRestrictions restrictions;
    std::unique_ptr<SettingsManager> store;
    const Identity admin = Someone(1);
    const Identity second = Someone(2);
    const Identity writer = Someone(9, {5, 100});
    const Identity reader = Someone(9, {200});
    const Identity stranger;
};

TEST_F(RestrictionTest, RulesDecideByUserAndGroup) {
    EXPECT_TRUE(store->MayWrite("secret/a", nullptr)) << "the program itself";
    EXPECT_TRUE(store->MayWrite("secret/a", &admin));
    EXPECT_TRUE(store->MayRead("secret/a", &reader));
    EXPECT_FALSE(store->MayWrite("secret/a", &reader));
    EXPECT_FALSE(store->MayRead("secret/a", &writer));
    EXPECT_FALSE(store->MayRead("secret/a", &stranger));
    EXPECT_TRUE(store->MayWrite("public/a", &writer));
    EXPECT_TRUE(store->MayRead("public/a", &stranger));
    EXPECT_FALSE(store->MayWrite("public/a", &stranger));
    EXPECT_TRUE(store->MayWrite("free", &stranger));
    EXPECT_TRUE(store->MayRead("secret", &stranger)) << "not of the pattern";
}

TEST_F(RestrictionTest, GroupOfSeveralRulesIsForThoseWhomAllAllow) {
    EXPECT_TRUE(store->MayWrite("public/shared", &admin));
    EXPECT_TRUE(store->MayRead("public/shared", &second));
    EXPECT_FALSE(store->MayWrite("public/shared", &second)) << "not a writer by the first rule";
    EXPECT_FALSE(store->MayRead("public/shared", &writer)) << "not a reader by the last rule";
    EXPECT_FALSE(store->MayWrite("public/shared", &writer)) << "who may not read may not write";
}

TEST_F(RestrictionTest, WhatMayNotBeReadIsNotThere) {
    EXPECT_EQ(Seen(&stranger), Document("[free]\nx=1\n[public/a]\nx=1\n"));
    EXPECT_EQ(Seen(&reader), Document("[free]\nx=1\n[public/a]\nx=1\n[secret/a]\nx=1\n"));
    EXPECT_EQ(store->GetValue("secret/a", "x", &stranger), std::nullopt);
    EXPECT_EQ(store->GetValue("secret/a", "x", &reader), "1");
    EXPECT_EQ(store->Read(GroupNameMatcher("secret/a"), &stranger).size(), 0U);
    const std::vector<common::SettingLocator> values = {
        {"secret/a", "x"}, {"free", "none"}, {"secret/a", "y"}};
    EXPECT_EQ(store->Read(values, &stranger).size(), 1U);
    EXPECT_EQ(store->Read(values, &reader).size(), 2U);
}

TEST_F(RestrictionTest, WritingByNameIsRefused) {
    for (const char* group : {"public/a", "secret/a", "secret/new"}) {
        ExpectRefused(group, [&] { store->SetValue(group, "x", "1", &stranger); });
        ExpectRefused(group, [&] { store->EraseValue(group, "x", &stranger); });
        core::IniFile document = Document("[free]\nx=2\n");
        document[group];
        ExpectRefused(group, [&] { store->MergeSettings(document, &stranger); });
        ExpectRefused(group,
                      [&] { store->OverwriteSettings(GroupNameMatcher("free"), document, &stranger); });
        ExpectRefused(group, [&] { store->TestAndMerge({}, document, &stranger); });
        ExpectRefused(group, [&] {
            store->TestExactlyAndMerge(GroupNameMatcher("wrong"), Document("[wrong]\n"), document, &stranger);
        });
        ExpectRefused(group, [&] {
            store->TestExactlyAndOverwrite(GroupNameMatcher("wrong"), Document("[wrong]\n"), document,
                                           &stranger);
        });
    }
    EXPECT_EQ(store->SetValue("free", "x", "2", &stranger), 1U);
    EXPECT_EQ(store->SetValue("public/a", "x", "2", &writer), 2U);
}

TEST_F(RestrictionTest, PatternsRefuseWhatIsReadButMayNotBeWritten) {
    const GroupNameMatcher all("*");
    ExpectRefused("public/a", [&] { store->EraseGroups(all, &stranger); });
    ExpectRefused("public/a", [&] { store->OverwriteSettings(all, {}, &stranger); });
    ExpectRefused("public/a", [&] { store->RestoreToDefaults(all, &stranger); });
    ExpectRefused("secret/a", [&] { store->EraseGroups(GroupNameMatcher("secret/*"), &reader); });
    ExpectRefused("public/a", [&] {
        store->TestExactlyAndOverwrite(GroupNameMatcher("public/*"), Document("[public/a]\nx=1\n"), {},
                                       &stranger);
    });
}

TEST_F(RestrictionTest, PatternsPassOverWhatMayNotBeRead) {
    store->SetValue("secret/a", "x", "changed");
    store->SetValue("public/shared", "x", "changed");
    store->SetValue("public/a", "x", "changed");
    store->RestoreToDefaults(GroupNameMatcher("*"), &writer);
    EXPECT_EQ(store->GetValue("public/a", "x"), "1");
    EXPECT_EQ(store->GetValue("secret/a", "x"), "changed");
    EXPECT_EQ(store->GetValue("public/shared", "x"), "changed");
    store->OverwriteSettings(GroupNameMatcher("*"), Document("[free]\ny=1\n"), &writer);
    EXPECT_EQ(Seen(nullptr), Document("[free]\ny=1\n[public/shared]\nx=changed\n[secret/a]\nx=changed\n"));
    store->EraseGroups(GroupNameMatcher("*"), &writer);
    EXPECT_EQ(Seen(nullptr), Document("[public/shared]\nx=changed\n[secret/a]\nx=changed\n"));
    const std::uint64_t revision = store->Revision();
    EXPECT_EQ(store->EraseGroups(GroupNameMatcher("secret/*"), &writer), revision);
}

TEST_F(RestrictionTest, ComparisonsSeeNothingThere) {
    const TestResult refused = store->TestAndMerge(Document("[secret/a]\nx=1\n"), {}, &writer);
    EXPECT_FALSE(refused.merged);
    ASSERT_TRUE(refused.difference);
    EXPECT_EQ(refused.difference->actual, std::nullopt);
    EXPECT_TRUE(store->TestAndMerge(Document("[secret/a]\nx=1\n"), {}, &reader).merged);
    const GroupNameMatcher secrets("secret/*");
    EXPECT_TRUE(store->TestExactlyAndMerge(secrets, {}, {}, &writer).merged);
    EXPECT_FALSE(store->TestExactlyAndMerge(secrets, {}, {}, &reader).merged);
    EXPECT_FALSE(store->TestExactlyAndMerge(secrets, Document("[secret/a]\nx=1\n"), {}, &writer).merged);
}

}  // namespace
}  // namespace zumra::settings::server
