// The real command line against the real daemon.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <sstream>
#include <thread>

#include "apps/CommandLineFixture.h"

namespace zumra::settingsd {
namespace {

TEST_F(CommandLineTest, SetsAndGetsValues) {
    EXPECT_EQ("80\n", Out("get '[Screen]brightness'"));
    EXPECT_EQ("", Out("set '[Screen]brightness' 90 '[Sound]volume' 'very loud'"));
    EXPECT_EQ("90\n", Out("get '[Screen]brightness'"));
    EXPECT_EQ("[Screen]\nbrightness = 90\ncontrast = 50\n\n[Sound]\nvolume = very loud\n\n", Out("get '*'"));
    EXPECT_EQ("[Sound]\nvolume = very loud\n\n", Out("get Sound"));
    EXPECT_EQ("", Out("set '[Sound]text' -", "two\nlines"));
    EXPECT_EQ("two\nlines\n", Out("get '[Sound]text'"));
    EXPECT_EQ("", Out("unset '[Sound]text'"));
    EXPECT_EQ("[Sound]\nvolume = very loud\n\n", Out("get Sound"));
}

TEST_F(CommandLineTest, TakesEveryWordAsItIs) {
    for (const std::string value :
         {"[1,2,3]", "[]", "[x]", "{}", "", "-5", "%%", "get", "--", "\"quoted\"", "a,b"}) {
        const std::string end = value == "--" ? "-- " : "";
        EXPECT_EQ("", Out("set " + end + "'[Odd]x' '" + value + "'"));
        EXPECT_EQ(value + "\n", Out("get '[Odd]x'"));
    }
    EXPECT_EQ("", Out("set '[Odd]a,b]' y '[Odd,c]x]' z"));
    EXPECT_EQ("y\n", Out("get '[Odd]a,b]'"));
    EXPECT_EQ("", Out("erase 'Odd'"));
    EXPECT_EQ("Odd,c\nScreen\n", Out("list"));
    const Result noValue = Run("set '[a]b]'");
    EXPECT_EQ(2, noValue.status);
    EXPECT_EQ("zumra-settings: expected a value after '[a]b]'\nTry 'zumra-settings --help'.\n", noValue.err);
    EXPECT_NE(std::string::npos, Run("ping '[x]'").err.find("takes no further word, got '[x]'"));
    EXPECT_EQ(4, Run("ping --socket='[x]'").status);
}

TEST_F(CommandLineTest, SaysWhatIsMissing) {
    const Result value = Run("get '[Screen]none'");
    EXPECT_EQ(3, value.status);
    EXPECT_EQ("zumra-settings: there is no '[Screen]none'\n", value.err);
    EXPECT_EQ("", value.out);
    EXPECT_EQ(3, Run("get None").status);
    EXPECT_EQ(3, Run("get 'None*'").status);
    EXPECT_EQ(3, Run("unset '[Screen]none'").status);
    const Result some = Run("get Screen None");
    EXPECT_EQ(3, some.status);
    EXPECT_NE(std::string::npos, some.out.find("brightness = 80"));
    EXPECT_EQ(3, Run("resources DSP").status);
    EXPECT_EQ(3, Run("-f json resources DSP").status);
    EXPECT_EQ(3, Run("get ''").status);
    EXPECT_EQ(3, Run("export None").status);
    EXPECT_EQ(3, Run("diff None").status);
    const Result erased = Run("erase None Screen");
    EXPECT_EQ(3, erased.status);
    EXPECT_EQ("zumra-settings: there is no 'None'\n", erased.err);
    EXPECT_EQ("", Out("list")) << "what there was is gone nevertheless";
    const Result restored = Run("restore Sreen Screen");
    EXPECT_EQ(3, restored.status);
    EXPECT_EQ("zumra-settings: there is no 'Sreen'\n", restored.err);
    EXPECT_EQ("Screen\n", Out("list"));
    EXPECT_EQ("[Screen]\nbrightness = 80\ncontrast = 50\n\n", Out("get 'S*' 'Scr*' Screen"));
}

TEST_F(CommandLineTest, WritesEveryForm) {
    EXPECT_EQ("{\n  \"Screen\": {\n    \"brightness\": \"80\",\n    \"contrast\": \"50\"\n  }\n}\n",
              Out("--form json get Screen"));
    EXPECT_EQ("\"80\"\n", Out("get --form json '[Screen]brightness'"));
    EXPECT_EQ(std::string("Screen\0brightness\00080\0Screen\0contrast\00050\0", 40), Out("-f nul get '*'"));
    EXPECT_EQ(std::string("80\0", 3), Out("-f nul get '[Screen]brightness'"));
    EXPECT_EQ("[\n  \"Screen\"\n]\n", Out("-f json list"));
    EXPECT_EQ("", Out("merge", "[Odd]\nbytes = \"\\xff\"\n"));
    const Result odd = Run("-f json get Odd");
    EXPECT_EQ(1, odd.status);
    EXPECT_NE(std::string::npos, odd.err.find("not UTF-8")) << odd.err;
}

TEST_F(CommandLineTest, ChangesWholeDocuments) {
    EXPECT_EQ("", Out("merge", "[a/1]\nx = 1\n[a/2]\nx = 2\n[b]\ny = 1\n"));
    EXPECT_EQ("Screen\na/1\na/2\nb\n", Out("list"));
    EXPECT_EQ("a/1\na/2\n", Out("list a/"));
    EXPECT_EQ("Screen\na/\nb\n", Out("list --prefixes"));
    EXPECT_EQ("", Out("overwrite 'a/*' --from " + _directory.Write("new.ini", "[a/3]\nx = 3\n")));
    EXPECT_EQ("Screen\na/3\nb\n", Out("list"));
    EXPECT_EQ("", Out("erase 'a*' b"));
    EXPECT_EQ("Screen\n", Out("list"));
    EXPECT_EQ("", Out("set '[Screen]contrast' 1"));
    EXPECT_EQ("", Out("restore Screen"));
    EXPECT_EQ("50\n", Out("get '[Screen]contrast'"));
}

TEST_F(CommandLineTest, MergesOnlyWhatIsStillAsExpected) {
    const std::string expect = _directory.Write("expect.ini", "[Screen]\nbrightness = 80\n");
    const std::string merge = _directory.Write("merge.ini", "[Screen]\nbrightness = 70\n");
    EXPECT_EQ("", Out("test-and-merge --expect " + expect + " --merge " + merge));
    const Result refused = Run("test-and-merge --expect " + expect + " --merge " + merge);
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ("zumra-settings: refused: [Screen]brightness: expected '80', found '70'\n", refused.err);
    EXPECT_EQ(2, Run("test-and-merge --expect - --merge -").status);
    const Result exact = Run("test-and-merge --expect " + merge + " --merge " + merge + " --exactly Screen");
    EXPECT_EQ(1, exact.status);
    EXPECT_EQ("zumra-settings: refused: [Screen]contrast: expected nothing, found '50'\n", exact.err);
    EXPECT_EQ("", Out("set '[New]x' 1"));
    const Result group = Run("test-and-merge --expect " + merge + " --merge " + merge + " --exactly New");
    EXPECT_EQ("zumra-settings: refused: [New] is there\n", group.err);
}

TEST_F(CommandLineTest, BringsDocumentsOutAndIn) {
    const std::string text =
        "[Screen]\nbrightness = 80\ncontrast = 50\n\n[a]\nhostile = \"x\\n[b]\\ny = 1\"\n\n";
    EXPECT_EQ("", Out("merge", "[a]\nhostile = \"x\\n[b]\\ny = 1\"\n"));
    EXPECT_EQ(text, Out("export"));
    EXPECT_EQ("- [a]hostile = \"x\\n[b]\\ny = 1\"\n+ [a]hostile = 2\n+ [c]\n+ [c]z = 1\n",
              Out("import --dry-run", "[a]\nhostile = 2\n[c]\nz = 1\n"));
    EXPECT_EQ(text, Out("export"));
    const Result broken = Run("import", "[a]\nfine = 1\nnonsense\n");
    EXPECT_EQ(1, broken.status);
    EXPECT_NE(std::string::npos, broken.err.find("line 3")) << broken.err;
    EXPECT_EQ(text, Out("export"));
    EXPECT_EQ("", Out("import --replace '*'", "[only]\nx = 1\n"));
    EXPECT_EQ("[only]\nx = 1\n\n", Out("export"));
    const std::string file = _directory.Write("new.ini", "[only]\nx = 2\n");
    EXPECT_EQ("", Out("import --replace 'o*' --replace 'p*' " + file)) << "the file is no pattern";
    EXPECT_EQ("[only]\nx = 2\n\n", Out("export"));
    EXPECT_EQ("", Out("import --replace only", "[only]\nx = 1\n"));
    EXPECT_EQ("", Out("import", text));
    EXPECT_EQ(text + "[only]\nx = 1\n\n", Out("export"));
}

TEST_F(CommandLineTest, ShowsWhatDiffersFromTheDefaults) {
    EXPECT_EQ("", Out("diff"));
    EXPECT_EQ("", Out("set '[Screen]contrast' 60 '[New]x' 1"));
    EXPECT_EQ("", Out("unset '[Screen]brightness'"));
    const Result differs = Run("diff");
    EXPECT_EQ(1, differs.status);
    EXPECT_EQ(
        "- [Screen]brightness = 80\n- [Screen]contrast = 50\n+ [Screen]contrast = 60\n+ [New]\n+ [New]x = "
        "1\n",
        differs.out);
    EXPECT_EQ("+ [New]\n+ [New]x = 1\n", Run("diff 'N*'").out);
    EXPECT_EQ("", Out("set '[Screen]brightness' 80"));
    EXPECT_EQ(
        "[\n  {\n    \"group\": \"Screen\",\n    \"name\": \"contrast\",\n    \"from\": \"50\",\n    \"to\": "
        "\"60\"\n  }\n]\n",
        Run("-f json diff Screen").out);
    EXPECT_EQ(2, Run("-f nul diff").status);
}

TEST_F(CommandLineTest, WatchesChanges) {
    Result shown;
    std::thread watcher([&] { shown = Run("watch --count 2 --initial Screen"); });
    // The watcher is there when the daemon knows its subscription.
    while (Run("clients", "", "").out.find("= Screen") == std::string::npos) {
        std::this_thread::yield();
    }
    RawClient client(_socket);
    client.Send("merge\n[Screen]\ncontrast=1\n[Other]\nx=1\n.\nerase\nScreen\n.\nsync\n");
    EXPECT_EQ("synced\n", client.ReceiveUntil("\n"));
    watcher.join();
    EXPECT_EQ(0, shown.status);
    EXPECT_EQ(
        "[Screen]\nbrightness = 80\ncontrast = 50\n\n[Screen]\nbrightness = 80\ncontrast = 1\n\n# removed: "
        "Screen\n",
        shown.out);
}

TEST_F(CommandLineTest, ManagesResources) {
    EXPECT_EQ("", Out("merge",
                      "[Resources/DSP]\nTotalAvailable = 200\n[Resources/DSP/Consumers/Deimos]\n"
                      "CurrentlyUsed = 30\n"));
    EXPECT_EQ("", Out("reserve DSP Sherlock 20%"));
    EXPECT_EQ(
        "DSP  70 of 200 used\n  Deimos            30  may use 160\n  Sherlock          40  may use 170\n",
        Out("resources"));
    EXPECT_EQ(
        "[DSP]\nTotal = 200\nUsed = 70\n\n[DSP/Consumers/Deimos]\nMayUse = 160\nUsed = 30\n\n"
        "[DSP/Consumers/Sherlock]\nMayUse = 170\nUsed = 40\n\n",
        Out("-f ini resources DSP"));
    EXPECT_EQ("", Out("set '[Resources/A/Consumers]TotalAvailable' 1 '[Resources/B/Consumers/x]y' 1"));
    const Result told = Run("resources");
    EXPECT_EQ(0, told.status);
    EXPECT_NE(std::string::npos, told.out.find("B  0 of 100 used")) << told.out;
    EXPECT_NE(std::string::npos, told.out.find("DSP  70 of 200 used")) << told.out;
    EXPECT_NE(std::string::npos, told.err.find("Invalid resource name 'A/Consumers'")) << told.err;
    EXPECT_EQ(3, Run("resources A/Consumers").status);
    const Result refused = Run("reserve DSP Sherlock 171");
    EXPECT_EQ(1, refused.status);
    EXPECT_EQ("zumra-settings: refused: Sherlock may use 170 of DSP\n", refused.err);
    EXPECT_EQ(2, Run("reserve DSP Sherlock many").status);
    EXPECT_EQ(2, Run("reserve DSP Sherlock 1.5").status);
    EXPECT_EQ(2, Run("reserve DSP Sherlock 99999999999").status);
}

TEST_F(CommandLineTest, AsksTheServerAboutItself) {
    EXPECT_EQ("", Out("flush"));
    EXPECT_EQ(0u, Out("ping").find("answer from '" + _socket + "' after "));
    EXPECT_NE(std::string::npos, Out("stats").find("Connections = 1\n"));
    EXPECT_NE(std::string::npos, Out("-f json clients").find("\"Process\""));
}

TEST_F(CommandLineTest, NamesTheNearestOfWhatItDoesNotKnow) {
    const Result verb = Run("gat '[a]b'");
    EXPECT_EQ(2, verb.status);
    EXPECT_EQ(0u, verb.err.find("zumra-settings: there is no verb 'gat'; the nearest is 'get'\n"))
        << verb.err;
    const Result option = Run("watch --cuont 3 a");
    EXPECT_EQ(2, option.status);
    EXPECT_NE(std::string::npos, option.err.find("no option '--cuont'; the nearest is '--count'"))
        << option.err;
    EXPECT_EQ(2, Run("").status);
    EXPECT_EQ(2, Run("get").status);
    EXPECT_EQ(2, Run("set '[a]b'").status);
    EXPECT_EQ(2, Run("-f xml get a").status);
    EXPECT_EQ(2, Run("get 'no-locator' '[broken'").status);
    EXPECT_EQ(2, Run("unset broken").status);
    EXPECT_EQ(2, Run("set '[a]x' - '[a]y' -", "once").status);
    const Result word = Run("flush now");
    EXPECT_EQ(2, word.status);
    EXPECT_EQ(0u, word.err.find("zumra-settings: 'flush' takes no further word, got 'now'\n")) << word.err;
    EXPECT_EQ(0u, Run("").err.find("zumra-settings: expected a verb\n"));
}

TEST_F(CommandLineTest, ShowsHelpWithAnExampleForEveryVerb) {
    const std::string help = Out("--help");
    for (const char* verb :
         {"get",   "set",    "unset",  "list", "merge", "overwrite", "erase",   "restore", "test-and-merge",
          "watch", "export", "import", "edit", "diff",  "resources", "reserve", "stats",   "clients",
          "ping",  "flush"}) {
        EXPECT_NE(std::string::npos, help.find(verb)) << verb;
        EXPECT_NE(std::string::npos,
                  Out(std::string(verb) + " --help").find("Example: zumra-settings " + std::string(verb)))
            << verb;
    }
    EXPECT_EQ(0u, Out("--version").find("zumra-settings "));
}

TEST_F(CommandLineTest, NamesTheValuesOfItsOptionsForPeople) {
    const std::string help = Out("--help");
    EXPECT_NE(std::string::npos, help.find("--timeout SECONDS=30")) << help;
    for (const char* verb : {"", "overwrite ", "test-and-merge ", "watch ", "import ", "ping "}) {
        std::istringstream lines(Out(std::string(verb) + "--help"));
        for (std::string line; std::getline(lines, line);) {
            for (const char* type : {" TEXT", "UINT", "FLOAT", " in [", ":{"}) {
                EXPECT_TRUE(line.rfind("  -", 0) != 0 || line.find(type) == std::string::npos) << line;
            }
        }
    }
}

TEST_F(CommandLineTest, GivesUpOnASilentServer) {
    const std::string path = _directory.File("silent");
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.copy(address.sun_path, sizeof address.sun_path - 1), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address));
    ASSERT_EQ(0, ::listen(listener, 16));
    for (const std::string verb : {"stats", "clients", "diff", "ping", "get x", "flush"}) {
        const Result silent = Run("--timeout 0.05 --socket '" + path + "' " + verb);
        EXPECT_EQ(4, silent.status) << verb;
        EXPECT_NE(std::string::npos, silent.err.find("not answer")) << verb << ": " << silent.err;
    }
    EXPECT_EQ(0, ::close(listener));
    EXPECT_EQ(2, Run("--timeout 0 ping").status);
    EXPECT_EQ(2, Run("--timeout -1 ping").status);
    EXPECT_EQ(2, Run("--timeout soon ping").status);
    EXPECT_EQ("", Run("--timeout 86400 ping").err);
}

TEST_F(CommandLineTest, SaysWhenThereIsNoServer) {
    const Result none = Run("--socket /nowhere/at-all get '[a]b'");
    EXPECT_EQ(4, none.status);
    EXPECT_EQ("zumra-settings: no server at '/nowhere/at-all': No such file or directory\n", none.err);
    EXPECT_EQ(4, Run("-s /nowhere/at-all stats").status);
}

}  // namespace
}  // namespace zumra::settingsd
