#include "zumra-settingsd/Sources.h"

#include <gtest/gtest.h>

#include <functional>

#include "storage/OpenStore.h"
#include "support/TemporaryDirectory.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/LoadPriorityIncludeFilter.h"
#include "zumra/settings/server/SettingsCombiner.h"

namespace zumra::settingsd {
namespace {

std::string ReasonOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const osa::Exception& error) {
        return error.what();
    }
    return "no exception";
}

class DefaultsTest : public ::testing::Test {
protected:
    core::IniFile Load(DefaultsFiles files) {
        const auto persister = MakePersister(std::move(files), *_store);
        settings::server::LoadPriorityIncludeFilter filter;
        settings::server::SettingsCombiner combiner(&filter);
        persister->LoadDefaults(combiner);
        return combiner.Take();
    }
    test::TemporaryDirectory _directory;
    std::unique_ptr<storage::ISettingsStore> _store =
        storage::OpenStore("memory:", [](const std::string&) {});
};

TEST_F(DefaultsTest, AreEmptyWithoutFiles) {
    EXPECT_TRUE(Load({}).empty());
}

TEST_F(DefaultsTest, AddIncludesInOrderOfTheirNames) {
    const std::string defaults = _directory.Write("defaults", "[a]\nx = 1\ny = 1\nz = 1\n");
    _directory.Write("20-later.ini", "[a]\nz = 20\n");
    _directory.Write("10-first.ini", "[a]\ny = 10\nz = 10\n");
    _directory.Write("README", "no settings");
    const core::IniFile found = Load({defaults, _directory.Path()});
    EXPECT_EQ("1", found.GetValue("a", "x"));
    EXPECT_EQ("10", found.GetValue("a", "y"));
    EXPECT_EQ("20", found.GetValue("a", "z"));
    EXPECT_EQ(1u, found.size());
}

TEST_F(DefaultsTest, PassIncludesThroughTheFilter) {
    _directory.Write("1.ini", "[ZumraSettings/LoadPriority]\na = 10\n[a]\nx = first\n");
    _directory.Write("2.ini", "[a]\nx = second\n[b]\ny = 2\n");
    const core::IniFile found = Load({std::nullopt, _directory.Path()});
    EXPECT_EQ("first", found.GetValue("a", "x"));
    EXPECT_EQ("2", found.GetValue("b", "y"));
    EXPECT_FALSE(found.HasGroup("ZumraSettings/LoadPriority"));
}

TEST_F(DefaultsTest, NameTheFileAndTheLineThatIsWrong) {
    const std::string defaults = _directory.Write("defaults", "[a]\nnonsense\n");
    const std::string reason = ReasonOf([&] { (void)Load({defaults, std::nullopt}); });
    EXPECT_NE(std::string::npos, reason.find(defaults)) << reason;
    EXPECT_NE(std::string::npos, reason.find("2")) << reason;
    EXPECT_NE(std::string::npos, reason.find("nonsense")) << reason;
    EXPECT_NE(std::string::npos, ReasonOf([&] {
                                     (void)Load({_directory.File("none"), std::nullopt});
                                 }).find("No such file"));
    EXPECT_NE(std::string::npos, ReasonOf([&] {
                                     (void)Load({std::nullopt, _directory.File("none")});
                                 }).find("No such file"));
}

TEST_F(DefaultsTest, ComeFromTheFilesAnewEachTime) {
    const std::string defaults = _directory.Write("defaults", "[a]\nx = 1\n");
    const auto persister = MakePersister({defaults, std::nullopt}, *_store);
    settings::server::SettingsCombiner before;
    persister->LoadDefaults(before);
    _directory.Write("defaults", "[a]\nx = 2\n");
    settings::server::SettingsCombiner after;
    persister->LoadDefaults(after);
    EXPECT_EQ("1", before.Combined().GetValue("a", "x"));
    EXPECT_EQ("2", after.Combined().GetValue("a", "x"));
}

TEST(PersisterTest, SavesOnlyChanges) {
    const test::TemporaryDirectory directory;
    for (const char* scheme : {"ini:", "sqlite:"}) {
        const auto store = storage::OpenStore(scheme + directory.File(scheme), [](const std::string&) {});
        const auto persister = MakePersister({}, *store);
        auto* incremental = dynamic_cast<settings::server::IIncrementalPersister*>(persister.get());
        ASSERT_NE(nullptr, incremental);
        core::IniFile document;
        document["a"]["x"] = "1";
        incremental->SaveChanges(document, {});
        settings::server::SettingsCombiner combiner;
        persister->LoadSettings(combiner);
        EXPECT_EQ(document, combiner.Combined()) << scheme;
    }
}

class RestrictedFileTest : public ::testing::Test {
protected:
    settings::server::RestrictedGroups Load(const std::string& text) {
        return RestrictedFile(_directory.Write("restricted.ini", text)).LoadRestrictedGroups();
    }
    test::TemporaryDirectory _directory;
};

TEST_F(RestrictedFileTest, UnderstandsUsersGroupsNumbersAndEveryone) {
    const auto restricted =
        Load("[Net/*]\nread = *\nwrite = root, user:root,group:root , 1000,group:77\n[Keys]\nread=user:42\n");
    ASSERT_EQ(2u, restricted.rules.size());
    const auto& keys = restricted.rules[0];
    EXPECT_TRUE(keys.groups.Matches("Keys"));
    EXPECT_FALSE(keys.groups.Matches("Keys2"));
    EXPECT_EQ((std::set<std::uint32_t>{42}), keys.readers.uids);
    EXPECT_FALSE(keys.readers.everyone);
    EXPECT_TRUE(keys.writers.everyone);
    const auto& net = restricted.rules[1];
    EXPECT_TRUE(net.groups.Matches("Net/eth0"));
    EXPECT_TRUE(net.readers.everyone);
    EXPECT_FALSE(net.writers.everyone);
    EXPECT_EQ((std::set<std::uint32_t>{0, 1000}), net.writers.uids);
    EXPECT_EQ((std::set<std::uint32_t>{0, 77}), net.writers.gids);
}

TEST_F(RestrictedFileTest, LetsNobodyInWithAnEmptyLine) {
    const auto restricted = Load("[Keys]\nread =\n");
    EXPECT_FALSE(restricted.rules.at(0).readers.everyone);
    EXPECT_TRUE(restricted.rules.at(0).readers.uids.empty());
}

TEST_F(RestrictedFileTest, RefusesWhatItDoesNotUnderstand) {
    for (const char* text :
         {"[a]\nwirte = root\n", "[a]\nread = nobody-of-this-name\n", "[a]\nread = group:\n",
          "[a]\nread = -1\n", "[a]\nread = 4294967296\n", "read = root\n"}) {
        const std::string reason = ReasonOf([&] { (void)Load(text); });
        EXPECT_NE(std::string::npos, reason.find("restricted.ini")) << text << ": " << reason;
    }
    EXPECT_NE(std::string::npos, ReasonOf([] {
                                     (void)RestrictedFile("/nowhere/at-all").LoadRestrictedGroups();
                                 }).find("/nowhere"));
}

}  // namespace
}  // namespace zumra::settingsd
