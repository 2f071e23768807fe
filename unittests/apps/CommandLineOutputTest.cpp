// What the command line writes where: forms, colours, terminals, and outputs that take nothing.
#include <algorithm>
#include <thread>

#include "apps/CommandLineFixture.h"

namespace zumra::settingsd {
namespace {

class CommandLineOutputTest : public CommandLineTest {
protected:
    /// What the program writes to a terminal.
    [[nodiscard]] std::string OnTerminal(const std::string& arguments, const std::string& environment = "") {
        const std::string command = environment +
                                    " script --quiet --return --command \"ZUMRA_SETTINGS_SOCKET='" + _socket +
                                    "' " + ZUMRA_EMULATOR + " '" + ZUMRA_SETTINGS_PROGRAM + "' " + arguments +
                                    "\" /dev/null < /dev/null > '" + _directory.File("terminal") + "'";
        EXPECT_EQ(0, std::system(command.c_str())) << command;
        return Text("terminal");
    }
    /// The changes that a watcher shows in that form.
    [[nodiscard]] std::string Watched(const std::string& form) {
        Result shown;
        std::thread watcher([&] { shown = Run("-f " + form + " watch --count 2 --initial 'S*'"); });
        while (Run("clients").out.find("= S*") == std::string::npos) {
            std::this_thread::yield();
        }
        RawClient client(_socket);
        client.Send("overwrite\nS*\n.\n[Sound]\na=1\n[Speech]\n.\nmerge\n[Sound]\nb=2\n.\nsync\n");
        EXPECT_EQ("synced\n", client.ReceiveUntil("\n"));
        watcher.join();
        EXPECT_EQ(0, shown.status) << shown.err;
        return shown.out;
    }
};

TEST_F(CommandLineOutputTest, ColorsOnlyWhereAPersonLooks) {
    const std::string colored = "\033[1m[Screen]\033[0m";
    EXPECT_EQ(std::string::npos, Out("get Screen").find('\033'));
    EXPECT_NE(std::string::npos, Out("--color always get Screen").find(colored));
    EXPECT_NE(std::string::npos, OnTerminal("get Screen", "env -u NO_COLOR").find(colored));
    EXPECT_EQ(std::string::npos, OnTerminal("get Screen", "NO_COLOR=1").find('\033'));
    EXPECT_EQ(std::string::npos, OnTerminal("--color never get Screen").find('\033'));
}

TEST_F(CommandLineOutputTest, BarsOnlyOnATerminal) {
    EXPECT_EQ("",
              Out("merge",
                  "[Resources/DSP]\nTotalAvailable = 30\n[Resources/DSP/Consumers/A]\nCurrentlyUsed = 10\n"));
    const std::string bar = "##########....................";
    EXPECT_EQ(std::string::npos, Out("resources").find('#'));
    const std::string shown = OnTerminal("resources", "NO_COLOR=1");
    EXPECT_NE(std::string::npos, shown.find("10 of 30 used  " + bar)) << shown;
    EXPECT_NE(std::string::npos, shown.find("may use 30  " + bar)) << shown;
}

TEST_F(CommandLineOutputTest, NothingInASettingReachesATerminalAsACommand) {
    EXPECT_EQ("", Out("set '[Evil]x' -",
                      "a\033]0;b\ac\xc2\x9b"
                      "1m\n\ttail"));
    EXPECT_EQ(
        "a\033]0;b\ac\xc2\x9b"
        "1m\n\ttail\n",
        Out("get '[Evil]x'"))
        << "a program gets it as it is";
    EXPECT_EQ("a\\x1b]0;b\\x07c\\x9b1m\r\n\ttail\r\n", OnTerminal("get '[Evil]x'"));
    for (const char* verb : {"get '*'", "list", "get Evil"}) {
        EXPECT_EQ(std::string::npos, OnTerminal(std::string("--color never ") + verb).find('\033')) << verb;
    }
}

TEST_F(CommandLineOutputTest, ReadsEveryFormThatItWrites) {
    EXPECT_EQ("", Out("merge", "[a b]\nhostile = \"x\\n[b]\\ny = 1\"\n = \n"));
    const std::string all = Out("export");
    for (const char* form : {"ini", "json", "nul", "people"}) {
        const std::string option = std::string("-f ") + form;
        const std::string text = Out(option + " export");
        EXPECT_EQ("", Out("erase '*'"));
        EXPECT_EQ("", Out(option + " import", text)) << form;
        EXPECT_EQ(all, Out("export")) << form;
    }
    const Result json = Run("-f json merge", "{\"a\": {\"x\": 1}}");
    EXPECT_EQ(1, json.status);
    EXPECT_EQ("zumra-settings: '-': expected a string as 'x' of group 'a'\n", json.err);
    EXPECT_EQ(1, Run("-f json merge", "[1]").status);
    EXPECT_EQ(1, Run("-f json merge", "{\"a\": 1}").status);
    EXPECT_EQ(1, Run("-f json merge", "{").status);
    EXPECT_EQ(1, Run("-f nul merge", "a").status);
    EXPECT_EQ(all, Out("export"));
}

TEST_F(CommandLineOutputTest, RefusesJsonThatSaysAThingTwice) {
    const std::pair<const char*, const char*> texts[] = {
        {"{\"a\": {\"x\": \"1\",\n\"y\": \"\", \"x\": \"2\"}}", "line 2: 'x' of group 'a' is there twice"},
        {"{\n\"a\": {}, \"b\": {},\n\n\"\\u0061\": {}}", "line 4: group 'a' is there twice"},
        {"{\"a\": {\"\": \"1\", \"\": \"1\"}}", "line 1: '' of group 'a' is there twice"},
        {"[{\"x\": 1, \"x\": 2}]", "expected an object of groups"},
        {"{\"a\": {\"x\": {\"y\": 1, \"y\": 2}}}", "expected a string as 'x' of group 'a'"},
    };
    for (const auto& [text, reason] : texts) {
        const Result refused = Run("-f json merge", text);
        EXPECT_EQ(1, refused.status) << text;
        EXPECT_EQ(std::string("zumra-settings: '-': ") + reason + "\n", refused.err);
    }
    EXPECT_EQ("Screen\n", Out("list"));
    EXPECT_EQ("", Out("-f json merge", "{\"a\": {\"x\": \"1\"}, \"b\": {\"x\": \"2\"}}"));
    EXPECT_EQ("[a]\nx = 1\n\n[b]\nx = 2\n\n", Out("get a b"));
}

TEST_F(CommandLineOutputTest, ShowsChangesInEveryForm) {
    EXPECT_EQ(
        "{\"groups\":{\"Screen\":{\"brightness\":\"80\",\"contrast\":\"50\"}},\"removed\":[]}\n"
        "{\"groups\":{\"Sound\":{\"a\":\"1\"},\"Speech\":{}},\"removed\":[\"Screen\"]}\n"
        "{\"groups\":{\"Sound\":{\"a\":\"1\",\"b\":\"2\"}},\"removed\":[]}\n",
        Watched("json"));
    EXPECT_EQ("", Out("erase '*'"));
    std::string expected = "0|3|Screen|-|Sound|1|a|1|Speech|0|1|Sound|2|a|1|b|2|";
    std::replace(expected.begin(), expected.end(), '|', '\0');
    EXPECT_EQ("", Out("restore Screen"));
    std::string first = "1|Screen|2|brightness|80|contrast|50|";
    std::replace(first.begin(), first.end(), '|', '\0');
    EXPECT_EQ(first + expected.substr(2), Watched("nul"));
}

TEST_F(CommandLineOutputTest, AnOutputThatTakesNothingIsNoSuccess) {
    for (const std::string arguments : {"export", "--help", "-f json list"}) {
        const std::string command = "ZUMRA_SETTINGS_SOCKET='" + _socket + "' " + ZUMRA_EMULATOR + " '" +
                                    ZUMRA_SETTINGS_PROGRAM + "' " + arguments + " > /dev/full 2> '" +
                                    _directory.File("err") + "'";
        EXPECT_EQ(1, WEXITSTATUS(std::system(command.c_str()))) << arguments;
        EXPECT_EQ("zumra-settings: cannot write the result\n", Text("err")) << arguments;
    }
}

TEST_F(CommandLineOutputTest, AClosedStreamIsNoConnection) {
    ASSERT_EQ("", Out("set '[Trap]text' 'x\nerase\n*\n.\nsync'"));
    const std::string program =
        "ZUMRA_SETTINGS_SOCKET='" + _socket + "' " + ZUMRA_EMULATOR + " '" + ZUMRA_SETTINGS_PROGRAM + "' ";
    for (const char* closed : {">&-", "<&- >&- 2>&-"}) {
        const int status = std::system((program + "get '[Trap]text' " + closed).c_str());
        EXPECT_EQ(1, WEXITSTATUS(status)) << "nobody got the value";
        EXPECT_EQ("Screen\nTrap\n", Out("list")) << "the value went to the server";
    }
    const std::string input = program + "overwrite '*' <&- 2> '" + _directory.File("err") + "'";
    EXPECT_EQ(1, WEXITSTATUS(std::system(input.c_str())));
    EXPECT_EQ("zumra-settings: cannot read standard input: Bad file descriptor\n", Text("err"));
    EXPECT_EQ("Screen\nTrap\n", Out("list"));
}

TEST_F(CommandLineOutputTest, ACommandOfWatchIsStartedAsFromAShell) {
    Result shown;
    const std::string file = _directory.File("ran");
    std::thread watcher([&] {
        shown = Run("watch --count 1 Screen --exec 'yes | head -1; cat >> " + file +
                    "; printf %s \"$ZUMRA_CHANGED_GROUPS\" >> " + file + "'");
    });
    while (Run("clients").out.find("= Screen") == std::string::npos) {
        std::this_thread::yield();
    }
    EXPECT_EQ("", Out("set '[Screen]contrast' 1"));
    watcher.join();
    EXPECT_EQ(0, shown.status);
    EXPECT_EQ("y\n", shown.out);
    EXPECT_EQ("", shown.err) << "yes is ended by its pipe, as usual";
    EXPECT_EQ("[Screen]\nbrightness = 80\ncontrast = 1\n\nScreen", Text("ran"));
}

}  // namespace
}  // namespace zumra::settingsd
