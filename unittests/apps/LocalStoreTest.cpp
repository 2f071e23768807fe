// The command line on a store without a daemon.
#include <unistd.h>

#include "apps/CommandLineFixture.h"

namespace zumra::settingsd {
namespace {

class LocalStoreTest : public CommandLineTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {}  // no daemon
    [[nodiscard]] std::string Uri() const { return std::string(GetParam()) + ":" + _directory.File("store"); }
    [[nodiscard]] std::string On(const std::string& arguments) const {
        return "--store " + Uri() + " " + arguments;
    }
};

TEST_P(LocalStoreTest, EveryVerbThatNeedsNoServerWorks) {
    EXPECT_EQ("", Out(On("set '[Screen]brightness' 80 '[a/1]x' 1")));
    EXPECT_EQ("80\n", Out(On("get '[Screen]brightness'")));
    EXPECT_EQ("", Out(On("unset '[Screen]brightness'")));
    EXPECT_EQ("Screen\na/1\n", Out(On("list")));
    EXPECT_EQ("", Out(On("merge"), "[b]\ny = 1\n"));
    EXPECT_EQ("", Out(On("overwrite b"), "[b]\nz = 1\n"));
    EXPECT_EQ("", Out(On("erase Screen")));
    EXPECT_EQ("[a/1]\nx = 1\n\n[b]\nz = 1\n\n", Out(On("export")));
    const std::string expect = _directory.Write("expect.ini", "[b]\nz = 1\n");
    const std::string merge = _directory.Write("merge.ini", "[b]\nz = 2\n");
    EXPECT_EQ("", Out(On("test-and-merge --expect " + expect + " --merge " + merge)));
    EXPECT_EQ(1, Run(On("test-and-merge --expect " + expect + " --merge " + merge)).status);
    EXPECT_EQ("", Out(On("import --replace '*'"), "[Resources/DSP]\nTotalAvailable = 10\n"));
    EXPECT_EQ("", Out(On("reserve DSP A 50%")));
    EXPECT_EQ("DSP  5 of 10 used\n  A                  5  may use 10\n", Out(On("resources")));
    EXPECT_EQ("", Out(On("flush")));
    EXPECT_EQ(0, Run(On("edit"), "", "VISUAL='sed -i s/10/20/'").status);
    EXPECT_EQ("20\n", Out(On("get '[Resources/DSP]TotalAvailable'")));
    EXPECT_EQ(1, Run(On("diff")).status);
}

TEST_P(LocalStoreTest, OtherVerbsSayWhyNot) {
    for (const char* verb : {"watch a", "stats", "clients", "ping"}) {
        const Result refused = Run(On(verb));
        EXPECT_EQ(2, refused.status) << verb;
        EXPECT_NE(std::string::npos, refused.err.find("' needs a server: ")) << refused.err;
    }
}

TEST_P(LocalStoreTest, RefusesWhileADaemonHasTheStore) {
    EXPECT_EQ("", Out(On("set '[a]x' 1")));
    DaemonProcess daemon({"--socket", _socket, "--store", Uri()});
    ASSERT_TRUE(daemon.Serves()) << daemon.Log();
    for (const char* verb : {"get a", "set '[a]x' 2", "edit", "flush"}) {
        const Result refused = Run(On(verb), "", "EDITOR=true");
        EXPECT_EQ(1, refused.status) << verb;
        EXPECT_NE(std::string::npos, refused.err.find("another process")) << refused.err;
    }
    EXPECT_EQ("1\n", Out("get '[a]x'"));
}

TEST_P(LocalStoreTest, WhatItChangesIsThereForADaemon) {
    EXPECT_EQ("", Out(On("set '[a]x' 1")));
    DaemonProcess daemon({"--socket", _socket, "--store", Uri()});
    ASSERT_TRUE(daemon.Serves()) << daemon.Log();
    EXPECT_EQ("1\n", Out("get '[a]x'"));
}

TEST_P(LocalStoreTest, ReadsNoStoreThatIsNotThere) {
    const Result none = Run(On("list"));
    EXPECT_EQ(1, none.status);
    EXPECT_EQ("zumra-settings: no store at '" + _directory.File("store") + "': No such file or directory\n",
              none.err);
    EXPECT_NE(0, ::access(_directory.File("store").c_str(), F_OK)) << "looking makes nothing";
}

TEST_P(LocalStoreTest, UsesDefaultsAndRestrictionsAsTheDaemonDoes) {
    const std::string defaults =
        _directory.Write("defaults.ini", "[Screen]\nbrightness = 80\n[Keys]\nk = 1\n");
    const std::string restricted =
        _directory.Write("restricted.ini", "[Keys]\nread = \nwrite = \n[Screen]\nwrite = \n");
    const std::string sources = "--defaults " + defaults + " --restricted " + restricted + " ";
    EXPECT_EQ("", Out(On("--defaults " + defaults + " set '[Screen]brightness' 90 '[Free]x' 1")));
    EXPECT_EQ("[Free]\nx = 1\n\n[Screen]\nbrightness = 90\n\n", Out(On(sources + "export")));
    const Result refused = Run(On(sources + "set '[Screen]brightness' 70"));
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ("zumra-settings: not allowed to write group 'Screen'\n", refused.err);
    const Result differs = Run(On(sources + "diff"));
    EXPECT_EQ("- [Screen]brightness = 80\n+ [Screen]brightness = 90\n+ [Free]\n+ [Free]x = 1\n", differs.out);
    EXPECT_EQ("", Out(On("--defaults " + defaults + " restore Screen")));
    EXPECT_EQ("80\n", Out(On("--defaults " + defaults + " get '[Screen]brightness'")));
    const Result broken =
        Run(On("--restricted " + _directory.Write("broken.ini", "[a]\nread = no such user\n") + " list"));
    EXPECT_EQ(1, broken.status);
    EXPECT_NE(std::string::npos, broken.err.find("broken.ini', group 'a', 'read'")) << broken.err;
}

INSTANTIATE_TEST_SUITE_P(Kinds, LocalStoreTest, ::testing::Values("ini", "sqlite"));

using LocalStoreOptionsTest = CommandLineTest;

TEST_F(LocalStoreOptionsTest, TakeAPathWithAColon) {
    const std::string store = "--store '" + _directory.File("a:b") + "' ";
    EXPECT_EQ("", Out(store + "set '[a]x' 1"));
    EXPECT_EQ("1\n", Out(store + "get '[a]x'"));
    EXPECT_NE(std::string::npos, Run("--store somewhere list").err.find("'somewhere' names no store"));
}

TEST_F(LocalStoreOptionsTest, BelongTogether) {
    EXPECT_EQ(2, Run("--store memory: --socket /x list").status);
    EXPECT_EQ(2, Run("--defaults /x list").status);
    EXPECT_EQ("", Out("--store memory: list"));
    const Result unknown = Run("--store tape:/x set '[a]b' 1");
    EXPECT_EQ(1, unknown.status);
    EXPECT_EQ("zumra-settings: 'tape:/x' names no store; expected ini:PATH, sqlite:PATH or memory:\n",
              unknown.err);
}

}  // namespace
}  // namespace zumra::settingsd
