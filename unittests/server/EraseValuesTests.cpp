#include <gtest/gtest.h>

#include "server/SessionHarness.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server::testing {
namespace {

TEST(EraseValuesTests, RemovesAllInOneCommit) {
    Server server("[a]\nx=1\ny=2\n[b]\nx=1\n");
    const std::uint64_t before = server.manager->Revision();
    EXPECT_EQ(server.manager->EraseValues({{"a", "x"}, {"b", "x"}, {"a", "x"}, {"a", "none"}, {"none", "x"}}),
              before + 1);
    EXPECT_EQ(server.Text(), "[a]\ny = 2\n\n[b]\n\n");
    const SettingsManager again(&server.persister);
    core::IniFile restarted;
    again.GetSettings(common::GroupNameMatcher("*"), restarted);
    EXPECT_EQ(restarted, server.Everything());
}

TEST(EraseValuesTests, NothingToRemoveIsNoCommit) {
    Server server("[a]\nx=1\n");
    const std::uint64_t before = server.manager->Revision();
    EXPECT_EQ(server.manager->EraseValues({}), before);
    EXPECT_EQ(server.manager->EraseValues({{"a", "y"}, {"b", "x"}}), before);
    EXPECT_EQ(server.Text(), "[a]\nx = 1\n\n");
}

TEST(EraseValuesTests, WhatWasReadBeforeStaysAsItWas) {
    Server server("[a]\nx=1\ny=2\n");
    const common::GroupMap read = server.manager->Read(common::GroupNameMatcher("a"));
    server.manager->EraseValues({{"a", "x"}, {"a", "y"}});
    EXPECT_EQ(read.at("a")->size(), 2U);
    server.manager->RestoreToDefaults(common::GroupNameMatcher("a"));
    EXPECT_EQ(server.Text(), "[a]\nx = 1\ny = 2\n\n");
}

TEST(ReadRevisionTests, IsThatOfWhatIsRead) {
    Server server;
    std::uint64_t revision = 99;
    (void)server.manager->Read(common::GroupNameMatcher("*"), nullptr, &revision);
    EXPECT_EQ(revision, 0U);
    server.manager->SetValue("a", "x", "1");
    server.manager->SetValue("a", "x", "2");
    (void)server.manager->Read(common::GroupNameMatcher("none"), nullptr, &revision);
    EXPECT_EQ(revision, 2U);
}

}  // namespace
}  // namespace zumra::settings::server::testing
