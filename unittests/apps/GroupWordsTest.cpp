// Groups whose names could be taken for something else, on the real command line.
#include <thread>

#include "apps/CommandLineFixture.h"

namespace zumra::settingsd {
namespace {

class GroupWordsTest : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        ASSERT_EQ("", Out("erase Screen"));
        ASSERT_EQ("", Out("merge", _start));
    }

    const std::string _star = "[h*]\nx = star\n\n";
    const std::string _more = "[h*more]\nx = more\n\n";
    const std::string _other = "[hat]\nx = hat\n\n";
    const std::string _start = _star + _more + _other;
};

TEST_F(GroupWordsTest, ReadTheGroupInQuotesAlone) {
    EXPECT_EQ(_star, Out("get '\"h*\"'"));
    EXPECT_EQ(_star + _more, Out("get '\"h*\"*'"));
    EXPECT_EQ(_start, Out("get 'h*'"));
    EXPECT_EQ(_star + _other, Out("get '\"h*\"' '\"hat\"'"));
    EXPECT_EQ(_star, Out("export '\"h*\"'"));
    EXPECT_EQ("+ [h*]\n+ [h*]x = star\n", Run("diff '\"h*\"'").out);
    EXPECT_EQ("", Out("set '[\"\\\"q\"]x' 1"));
    EXPECT_EQ("[\"\\\"q\"]\nx = 1\n\n", Out("get '\"\\\"q\"'"));
}

TEST_F(GroupWordsTest, ChangeTheGroupInQuotesAlone) {
    EXPECT_EQ("", Out("overwrite '\"h*\"'", "[h*]\ny = 2\n"));
    EXPECT_EQ("[h*]\ny = 2\n\n" + _more + _other, Out("export"));
    EXPECT_EQ("", Out("import --replace '\"h*\"'", _star));
    EXPECT_EQ(_start, Out("export"));
    EXPECT_EQ("- [h*]\n- [h*]x = star\n", Out("import --dry-run --replace '\"h*\"'", ""));
    EXPECT_EQ("- [h*]x = star\n+ [h*]x = 2\n", Out("import --dry-run", "[h*]\nx = 2\n"));
    const std::string expect = _directory.Write("expect.ini", _star);
    EXPECT_EQ("", Out("test-and-merge --exactly '\"h*\"' --expect " + expect + " --merge " +
                      _directory.Write("merge.ini", "[h*]\nz = 3\n")));
    EXPECT_EQ("", Run("edit '\"h*\"'", "", "VISUAL='sed -i s/star/edited/'").err);
    EXPECT_EQ("[h*]\nx = edited\nz = 3\n\n", Out("get '\"h*\"'"));
    EXPECT_EQ("", Out("erase '\"h*\"'"));
    EXPECT_EQ(_more + _other, Out("export"));
    const Result restored = Run("restore '\"h*\"' Screen");
    EXPECT_EQ(3, restored.status);
    EXPECT_EQ("zumra-settings: there is no '\"h*\"'\n", restored.err);
    EXPECT_EQ("Screen\nh*more\nhat\n", Out("list"));
}

TEST_F(GroupWordsTest, WatchTheGroupInQuotesAlone) {
    Result shown;
    std::thread watcher([&] { shown = Run("watch --count 1 --initial '\"h*\"'"); });
    while (Run("clients").out.find("Subscription000 = h*") == std::string::npos) {
        std::this_thread::yield();
    }
    RawClient client(_socket);
    client.Send("merge\n[hat]\nx=1\n.\nmerge\n[h*]\nx=1\n.\nsync\n");
    EXPECT_EQ("synced\n", client.ReceiveUntil("\n"));
    watcher.join();
    EXPECT_EQ(_star + "[h*]\nx = 1\n\n", shown.out);
}

TEST_F(GroupWordsTest, AreListedAsTheyAreGiven) {
    ASSERT_EQ("", Out("set '[\"\\\"q\"]x' 1 '[\"line\\nend\"]x' 2"));
    const std::string listed = Out("list");
    EXPECT_EQ("\"\\\"q\"\n\"h*\"\nh*more\nhat\n\"line\\nend\"\n", listed);
    EXPECT_EQ(Out("export"), Out("get $(cat '" + _directory.Write("words", listed) + "')"));
    EXPECT_EQ("\"h*\"\nh*more\n", Out("list 'h*'")) << "names begin with the word as it is";
    EXPECT_NE(std::string::npos, Out("-f json list").find("\"h*\""));
}

TEST_F(GroupWordsTest, SayWhatIsWrongWithThem) {
    for (const char* verb :
         {"get", "export", "diff", "erase", "restore", "overwrite", "watch", "edit", "import --replace",
          "test-and-merge --expect /dev/null --merge /dev/null --exactly"}) {
        const Result refused = Run(std::string(verb) + " '\"h*'");
        EXPECT_EQ(2, refused.status) << verb;
        EXPECT_EQ(
            "zumra-settings: expected a group or pattern, in quotes as a whole or not at all, got '\"h*'\n"
            "Try 'zumra-settings --help'.\n",
            refused.err)
            << verb;
    }
    EXPECT_EQ(_start, Out("export"));
    EXPECT_EQ(2, Run("get '\"a\"b'").status);
    EXPECT_EQ("zumra-settings: there is no '\"a*\"'\n", Run("get '\"a*\"'").err);
    EXPECT_EQ("zumra-settings: there is no '\"a*\"'\n", Run("erase '\"a*\"'").err);
}

TEST_F(GroupWordsTest, AreCompletedInQuotes) {
    EXPECT_EQ("words \"\n\"h*\"\n", Out("complete 'zumra-settings get '\\''\"'"));
    EXPECT_EQ("words h\nh*more\nhat\n", Out("complete 'zumra-settings erase h'"));
    EXPECT_EQ("words \n\"h*\"\nh*more\nhat\n", Out("complete 'zumra-settings watch '"));
    EXPECT_EQ("words h\nh*\nh*more\nhat\n", Out("complete 'zumra-settings list h'"));
    EXPECT_EQ("words \"h\n\"h*\"\n", Out("complete 'zumra-settings import --replace '\\''\"h'"));
}

}  // namespace
}  // namespace zumra::settingsd
