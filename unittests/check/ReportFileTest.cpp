#include "check/ReportFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "check/CommandLine.h"

namespace zumra::check {
namespace {

namespace fs = std::filesystem;

class ReportFileTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "zumra-xml-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        _folder = name;
    }
    void TearDown() override { fs::remove_all(_folder); }

    [[nodiscard]] std::string Path(const char* name) const { return (_folder / name).string(); }

    static std::string Rejection(const std::string& path) {
        try {
            RequireWritable({"XML log", path});
        } catch (const CommandLineError& e) {
            return e.what();
        }
        return "accepted";
    }

    fs::path _folder;
};

TEST_F(ReportFileTest, AcceptsNewFileAndLeavesNoTrace) {
    EXPECT_EQ(Rejection(Path("new.xml")), "accepted");
    EXPECT_FALSE(fs::exists(Path("new.xml")));
}

TEST_F(ReportFileTest, AcceptsExistingFileAndLeavesItAsItIs) {
    std::ofstream(Path("old.xml")) << "content";
    EXPECT_EQ(Rejection(Path("old.xml")), "accepted");
    EXPECT_EQ(fs::file_size(Path("old.xml")), 7U);
}

TEST_F(ReportFileTest, AcceptsStandardOutput) {
    EXPECT_EQ(Rejection("-"), "accepted");
}

TEST_F(ReportFileTest, RejectsWhatCannotBeWritten) {
    EXPECT_EQ(Rejection(Path("none/new.xml")),
              "cannot write the XML log '" + Path("none/new.xml") + "': No such file or directory");
    EXPECT_EQ(Rejection(Path("")), "cannot write the XML log '" + Path("") + "': Is a directory");
    symlink("/nowhere/at/all", Path("dangling").c_str());
    EXPECT_EQ(Rejection(Path("dangling")),
              "cannot write the XML log '" + Path("dangling") + "': No such file or directory");
}

TEST_F(ReportFileTest, AcceptsLinkToNewFileAndLeavesItAsItIs) {
    symlink("new.xml", Path("second").c_str());
    symlink(Path("second").c_str(), Path("first").c_str());
    EXPECT_EQ(Rejection(Path("first")), "accepted");
    EXPECT_TRUE(fs::is_symlink(Path("first")));
    EXPECT_TRUE(fs::is_symlink(Path("second")));
    EXPECT_FALSE(fs::exists(Path("new.xml")));
}

TEST_F(ReportFileTest, RejectsPipeThatNobodyReads) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(Rejection(Path("pipe")),
              "cannot write the XML log '" + Path("pipe") + "': No such device or address");
}

}  // namespace
}  // namespace zumra::check
