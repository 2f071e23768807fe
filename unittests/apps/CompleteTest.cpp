// What the command line proposes to the completions of shells.
#include "apps/CommandLineFixture.h"

namespace zumra::settingsd {
namespace {

class CompleteTest : public CommandLineTest {
protected:
    void SetUp() override {
        CommandLineTest::SetUp();
        RawClient client(_socket);
        client.Send(
            "merge\n[Alarm/1]\non=true\nthe "
            "name=x\n[Alarm/2]\non=true\n[Alarm/Sub/1]\n[\"line\\nend\"]\na=1\n"
            "[a]b]\nx=1\n[Resources/DSP]\nTotalAvailable=1\n[Resources/DSP/Consumers/A]\nCurrentlyUsed=1\n.\n"
            "sync\n");
        ASSERT_EQ("synced\n", client.ReceiveUntil("\n"));
    }
    /// What is proposed for "zumra-settings " + `rest`, one a line behind the kind and the word.
    [[nodiscard]] std::string Proposed(const std::string& rest) const {
        std::string quoted;
        for (const char c : rest) {
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        }
        return Out("complete 'zumra-settings " + quoted + "'");
    }
};

TEST_F(CompleteTest, VerbsAndOptions) {
    EXPECT_EQ("words re\nrestore\nresources\nreserve\n", Proposed("re"));
    EXPECT_EQ("words --in\n--include\n--initial\n", Proposed("watch --in"));
    EXPECT_EQ("words --in\n--include\n", Proposed("get --in"));
    EXPECT_EQ("words j\njson\n", Proposed("get --form j"));
    EXPECT_EQ("words j\njson\n", Proposed("-f j"));
    EXPECT_EQ("words --form=j\n--form=json\n", Proposed("get --form=j"));
    EXPECT_EQ("files --defaults=a\n", Proposed("--defaults=a"));
    EXPECT_EQ("prefixes s\nsqlite:\n", Proposed("--store s"));
    EXPECT_EQ("words -x\n", Proposed("get -- -x")) << "no options behind the two dashes";
    EXPECT_EQ("words x\n", Proposed("frobnicate x"));
}

TEST_F(CompleteTest, Files) {
    for (const char* rest : {"--store ini:/t", "merge a", "import a", "overwrite Alarm/1 --from a", "-s a",
                             "test-and-merge --expect a"}) {
        EXPECT_EQ(0u, Proposed(rest).find("files ")) << rest;
    }
    EXPECT_EQ("folders a\n", Proposed("--store memory: --include a"));
}

TEST_F(CompleteTest, Groups) {
    EXPECT_EQ("prefixes A\nAlarm/\n", Proposed("get A"));
    EXPECT_EQ("prefixes Alarm/\nAlarm/1\nAlarm/2\nAlarm/Sub/\nAlarm/*\n", Proposed("erase Scr Alarm/"));
    EXPECT_EQ("words Alarm/1\nAlarm/1\n", Proposed("list Alarm/1"));
    EXPECT_EQ("words l\n", Proposed("get l")) << "no word can hold a line end";
    EXPECT_EQ("words Sc\nScreen\n", Proposed("test-and-merge --exactly Sc"));
    EXPECT_EQ("words D\nDSP\n", Proposed("reserve D"));
}

TEST_F(CompleteTest, LocatorsInAnyQuotes) {
    EXPECT_EQ("prefixes [Al\n[Alarm/\n", Proposed("get [Al"));
    EXPECT_EQ("prefixes [Alarm/\n[Alarm/1]\n[Alarm/2]\n[Alarm/Sub/\n", Proposed("set '[Alarm/"));
    EXPECT_EQ("words [Alarm/1]\n[Alarm/1]on\n[Alarm/1]the name\n", Proposed("unset \"[Alarm/1]"));
    EXPECT_EQ("words [Alarm/1]the n\n[Alarm/1]the name\n", Proposed("get \\[Alarm/1\\]the\\ n"));
    EXPECT_EQ("prefixes [\"a\n[\"a]b\"]\n", Proposed("get '[\"a"));
    EXPECT_EQ("words 5\n", Proposed("set '[Screen]brightness' 5")) << "a value may be anything";
    EXPECT_EQ("prefixes [S\n[Screen]\n", Proposed("set '[Screen]brightness' 5 [S"));
}

TEST_F(CompleteTest, NamesOfWhatTheLineSays) {
    EXPECT_EQ("words S\n", Proposed("--socket /nowhere get S")) << "nobody answers, nobody complains";
    const std::string store = "ini:" + _directory.File("store");
    EXPECT_EQ("", Out("--store " + store + " set '[Stored]x' 1"));
    EXPECT_EQ("words S\nStored\n", Proposed("get --store " + store + " S"));
    EXPECT_EQ("words S\nStored\n", Proposed("--store=" + store + " get S"));
}

}  // namespace
}  // namespace zumra::settingsd
