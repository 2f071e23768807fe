#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "settings/client/SocketPlace.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settings::client {
namespace {

TEST(PrivateFolderTests, IsAFolderOfOnesOwnThatNobodyElseMayWriteTo) {
    const test::TemporaryDirectory directory;
    const std::string folder = directory.File("folder");
    EXPECT_FALSE(IsPrivateFolder(folder)) << "it is not there";
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    EXPECT_TRUE(IsPrivateFolder(folder));
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    EXPECT_TRUE(IsPrivateFolder(folder)) << "others may look";
    for (const mode_t mode : {0720U, 0702U, 01777U}) {
        ASSERT_EQ(::chmod(folder.c_str(), mode), 0);
        EXPECT_FALSE(IsPrivateFolder(folder)) << mode;
    }
}

TEST(PrivateFolderTests, IsNoFileAndNoLink) {
    const test::TemporaryDirectory directory;
    EXPECT_FALSE(IsPrivateFolder(directory.Write("file", "")));
    ASSERT_EQ(::mkdir(directory.File("folder").c_str(), 0700), 0);
    std::filesystem::create_symlink(directory.File("folder"), directory.File("link"));
    EXPECT_FALSE(IsPrivateFolder(directory.File("link")));
}

TEST(PrivateFolderTests, IsNobodyElses) {
    if (::geteuid() != 0) {
        EXPECT_FALSE(IsPrivateFolder("/")) << "it is root's";
        return;
    }
    const test::TemporaryDirectory directory;
    ASSERT_EQ(::chmod(directory.Path().c_str(), 0755), 0);
    ASSERT_TRUE(IsPrivateFolder(directory.Path()));
    ASSERT_EQ(::seteuid(12345), 0);
    const bool isPrivate = IsPrivateFolder(directory.Path());
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_FALSE(isPrivate);
}

}  // namespace
}  // namespace zumra::settings::client
