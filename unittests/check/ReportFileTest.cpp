#include "check/ReportFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

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

TEST_F(ReportFileTest, ReaderOfAPipeWaitsForTheReport) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    std::string read;
    std::thread reader([this, &read] {
        std::ifstream pipe(Path("pipe"));
        std::getline(pipe, read);
    });
    // Until the reader is there, nobody reads.
    while (Rejection(Path("pipe")) != "accepted")
        std::this_thread::yield();
    Write({"page", Path("pipe")}, "content\n");
    reader.join();
    EXPECT_EQ(read, "content");
}

TEST_F(ReportFileTest, PipeWhoseReaderHasGoneIsAnError) {
    ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
    EXPECT_THROW(Write({"page", Path("pipe")}, "content\n"), std::runtime_error);
}

TEST_F(ReportFileTest, TwoReportsNeedTwoFiles) {
    fs::create_directory(Path("folder"));
    std::ofstream(Path("old"));
    symlink("old", Path("link").c_str());
    symlink("folder/new", Path("toNew").c_str());
    const auto rejection = [](const std::string& first, const std::string& second) -> std::string {
        try {
            RequireDifferent({{"page", first}, {"XML log", second}});
        } catch (const CommandLineError& e) {
            return e.what();
        }
        return "accepted";
    };
    EXPECT_EQ(rejection("-", "-"), "two reports are to be written to '-'");
    EXPECT_EQ(rejection("x", "./x"), "two reports are to be written to './x'");
    EXPECT_EQ(rejection(Path("new"), Path("folder/../new")),
              "two reports are to be written to '" + Path("folder/../new") + "'");
    EXPECT_NE(rejection(Path("old"), Path("link")), "accepted");
    EXPECT_NE(rejection(Path("toNew"), Path("folder/new")), "accepted");
    EXPECT_EQ(rejection(Path("old"), Path("new")), "accepted");
    EXPECT_EQ(rejection("-", "./-"), "accepted");
}

}  // namespace
}  // namespace zumra::check
