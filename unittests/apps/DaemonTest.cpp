// The real daemon over its real socket.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>

#include "apps/DaemonProcess.h"
#include "storage/OpenStore.h"
#include "support/TemporaryDirectory.h"
#include "zumra/core/IniFile.h"

namespace zumra::settingsd {
namespace {

class DaemonTest : public ::testing::Test {
protected:
    void Start(std::vector<std::string> arguments = {}) {
        _daemon.reset();
        arguments.insert(arguments.begin(), {"--socket", _socket, "--store", "ini:" + _store});
        _daemon.emplace(arguments);
        ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    }
    /// Ends the daemon as the system does; what it returned.
    int Stop() {
        _daemon->Signal(SIGTERM);
        return _daemon->Wait();
    }
    [[nodiscard]] RawClient Connect() const { return RawClient(_socket); }
    /// Sends everything, closes the sending side and gives what came back: what a shell script does.
    [[nodiscard]] std::string Ask(const std::string& requests) const {
        RawClient client(_socket);
        client.Send(requests);
        client.EndInput();
        return client.ReceiveAll();
    }
    [[nodiscard]] core::IniFile Saved() const {
        return storage::OpenStore("ini:" + _store, [](const std::string&) {})->Load();
    }

    /// The saved settings while the daemon holds them.
    [[nodiscard]] core::IniFile IniFileText() const {
        core::IniFile document;
        std::ifstream file(_store);
        document.LoadFromStream(file);
        return document;
    }

    test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("run/settings.sock");
    const std::string _store = _directory.File("state/settings.ini");
    std::optional<DaemonProcess> _daemon;
};

TEST_F(DaemonTest, ServesAScriptWithAPlainSocket) {
    Start();
    EXPECT_EQ("data\n[a]\nx = 1\n\n.\n", Ask("merge\n[a]\nx=1\n.\nget delimited\na\n.\n"));
}

TEST_F(DaemonTest, KeepsSettingsOverARestart) {
    Start();
    EXPECT_EQ("flushed\n", Ask("merge\n[a]\nx=1\n.\nflush\n"));
    _daemon->Signal(SIGKILL);
    EXPECT_EQ(1000 + SIGKILL, _daemon->Wait());
    Start();
    EXPECT_EQ("data\n[a]\nx = 1\n\n.\n", Ask("get delimited\n*\n.\n"));
}

TEST_F(DaemonTest, SavesBeforeATestAndMergeIsAnswered) {
    Start({"--save-delay", "3600000"});
    EXPECT_EQ("result\nok\n", Ask("test-and-merge\n.\n[a]\nx=1\n.\n"));
    _daemon->Signal(SIGKILL);
    _daemon->Wait();
    EXPECT_EQ("1", Saved().GetValue("a", "x"));
}

TEST_F(DaemonTest, StopsCleanlyAndServesWhatItHasReceived) {
    Start({"--save-delay", "3600000"});
    RawClient client = Connect();
    client.Send("sync\n");
    ASSERT_EQ("synced\n", client.ReceiveUntil("\n"));
    _daemon->Signal(SIGSTOP);
    client.Send("merge\n[a]\nx=1\n.\nsync\nmerge\n[unfinished]\ny=2\n");
    _daemon->Signal(SIGTERM);
    _daemon->Signal(SIGCONT);
    EXPECT_EQ("synced\n", client.ReceiveAll());
    EXPECT_EQ(0, _daemon->Wait());
    EXPECT_NE(std::string::npos, _daemon->Log().find("everything is saved"));
    EXPECT_EQ("1", Saved().GetValue("a", "x"));
    EXPECT_FALSE(Saved().HasGroup("unfinished"));
    EXPECT_NE(0, ::access(_socket.c_str(), F_OK));
}

TEST_F(DaemonTest, TellsSubscribersOnOtherConnections) {
    Start();
    RawClient subscriber = Connect();
    subscriber.Send("subscribe\na*\n.\nsync\n");
    ASSERT_EQ("synced\n", subscriber.ReceiveUntil("\n"));
    EXPECT_EQ("synced\n", Ask("merge\n[a1]\nx=1\n[b]\ny=1\n.\nsync\n"));
    EXPECT_EQ("async change\na1\n.\n[a1]\nx = 1\n\n.\n",
              subscriber.ReceiveUntil("\n.\n").append(subscriber.ReceiveUntil("\n.\n")));
}

TEST_F(DaemonTest, ReadsDefaultsAgainOnRequest) {
    const std::string defaults = _directory.Write("defaults.ini", "[a]\nx = 1\ny = 1\n");
    Start({"--defaults", defaults});
    RawClient subscriber = Connect();
    subscriber.Send("merge\n[a]\nx=own\n.\nsubscribe\n*\n.\nsync\n");
    ASSERT_EQ("synced\n", subscriber.ReceiveUntil("\n"));
    _directory.Write("defaults.ini", "[a]\nx = 2\ny = 2\n");
    _daemon->Signal(SIGHUP);
    ASSERT_TRUE(_daemon->WaitForLog("read again"));
    EXPECT_EQ("data\n[a]\nx = own\ny = 2\n\n.\n", Ask("get delimited\n*\n.\n"));
    subscriber.EndInput();
    EXPECT_EQ("async change\na\n.\n[a]\nx = own\ny = 2\n\n.\n", subscriber.ReceiveAll());
    _directory.Write("defaults.ini", "nonsense\n");
    _daemon->Signal(SIGHUP);
    ASSERT_TRUE(_daemon->WaitForLog("the old stays"));
    EXPECT_EQ("data\n[a]\nx = own\ny = 2\n\n.\n", Ask("get delimited\n*\n.\n"));
}

TEST_F(DaemonTest, KeepsASecondDaemonAway) {
    Start();
    DaemonProcess sameSocket({"--socket", _socket, "--store", "memory:"});
    EXPECT_EQ(1, sameSocket.Wait());
    EXPECT_NE(std::string::npos, sameSocket.Log().find("'" + _socket + "' is in use by another process"));
    DaemonProcess sameStore({"--socket", _directory.File("other.sock"), "--store", "ini:" + _store});
    EXPECT_EQ(1, sameStore.Wait());
    EXPECT_NE(std::string::npos, sameStore.Log().find("'" + _store + "' is in use by another process"));
    EXPECT_EQ("synced\n", Ask("sync\n"));
}

TEST_F(DaemonTest, ChecksItsSetupWithoutServing) {
    const std::string defaults = _directory.Write("defaults.ini", "[a]\nx = 1\n");
    DaemonProcess good({"--check", "--store", "memory:", "--defaults", defaults});
    EXPECT_EQ(0, good.Wait());
    EXPECT_NE(std::string::npos, good.Log().find("everything is in order: 1 groups"));
    const std::string broken = _directory.Write("broken.ini", "[a]\nnonsense\n");
    DaemonProcess bad({"--check", "--store", "memory:", "--defaults", broken});
    EXPECT_EQ(1, bad.Wait());
    EXPECT_NE(std::string::npos, bad.Log().find(broken)) << bad.Log();
}

TEST_F(DaemonTest, ChecksWhereItWouldServe) {
    const std::string file = _directory.Write("file", "");
    const std::vector<std::pair<std::vector<std::string>, std::string>> mistakes{
        {{"--socket-group", "no-group-of-this-name"}, "there is no group of users 'no-group-of-this-name'"},
        {{"--socket", _directory.File(std::string(120, 'x'))}, "1 to 107 bytes"},
        {{"--socket", file}, "it is there and is no socket"},
        {{"--socket", file + "/socket"}, "cannot make files in '" + file + "': Not a directory"},
        {{"--store", "ini:" + file + "/new/store"}, "cannot make files in '" + file},
        {{"--store", "somewhere"}, "'somewhere' names no store"},
    };
    for (const auto& [options, reason] : mistakes) {
        std::vector<std::string> arguments{"--check"};
        for (const char* option : {"--socket", "--store"}) {
            if (options[0] != option) {
                arguments.emplace_back(option);
                arguments.push_back(arguments.back() == "--store" ? "memory:" : _socket);
            }
        }
        arguments.insert(arguments.end(), options.begin(), options.end());
        DaemonProcess daemon(arguments);
        EXPECT_EQ(1, daemon.Wait()) << reason;
        EXPECT_NE(std::string::npos, daemon.Log().find(reason)) << daemon.Log();
    }
}

TEST_F(DaemonTest, ChangesNothingByChecking) {
    const std::vector<std::string> check{"--check", "--socket", _socket, "--store", "ini:" + _store};
    DaemonProcess before(check);
    EXPECT_EQ(0, before.Wait()) << before.Log();
    EXPECT_FALSE(std::filesystem::exists(_directory.File("state")));
    Start();
    ASSERT_EQ("flushed\n", Ask("merge\n[a]\nx=1\n.\nflush\n"));
    DaemonProcess beside(check);
    EXPECT_EQ(0, beside.Wait()) << beside.Log();
    EXPECT_NE(std::string::npos, beside.Log().find("everything is in order: 1 groups"));
    EXPECT_EQ(0, Stop());
    std::ofstream(_store) << "[a]\nx = 3\n";
    DaemonProcess broken(check);
    EXPECT_EQ(1, broken.Wait());
    EXPECT_NE(std::string::npos, broken.Log().find("'" + _store + "' is not whole")) << broken.Log();
    EXPECT_TRUE(std::filesystem::exists(_store)) << "a check sets nothing aside";
}

TEST_F(DaemonTest, ChecksADatabaseThatIsInUse) {
    const std::string database = _directory.File("state/settings.db");
    const std::vector<std::string> check{"--check", "--socket", _socket, "--store", "sqlite:" + database};
    DaemonProcess before(check);
    EXPECT_EQ(0, before.Wait()) << before.Log();
    EXPECT_FALSE(std::filesystem::exists(_directory.File("state")));
    _daemon.emplace(std::vector<std::string>{"--socket", _socket, "--store", "sqlite:" + database});
    ASSERT_EQ("flushed\n", Ask("merge\n[a]\nx=1\n.\nflush\n"));
    DaemonProcess beside(check);
    EXPECT_EQ(0, beside.Wait()) << beside.Log();
    EXPECT_NE(std::string::npos, beside.Log().find("everything is in order: 1 groups"));
    ASSERT_EQ("flushed\n", Ask("merge\n[b]\nx=1\n.\nflush\n"));
    EXPECT_EQ(0, Stop());
    std::ofstream(database) << "[a]\nx = 3\n";
    DaemonProcess broken(check);
    EXPECT_EQ(1, broken.Wait());
    EXPECT_NE(std::string::npos, broken.Log().find("'" + database + "'")) << broken.Log();
}

TEST_F(DaemonTest, TakesItsOptionsFromAFile) {
    const std::string config =
        _directory.Write("settingsd.conf", "socket = \"" + _socket + "\"\nstore = \"ini:" + _store +
                                               "\"\nlog-level = \"debug\"\n");
    _daemon.emplace(std::vector<std::string>{"--config", config});
    ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    EXPECT_EQ("synced\n", Ask("sync\n"));
    EXPECT_TRUE(_daemon->WaitForLog("connection 1 from process"));
    EXPECT_EQ(0, Stop());
}

TEST_F(DaemonTest, RefusesOptionsThatItDoesNotUnderstand) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--nonsense"},
                                               {"--save-delay", "soon"},
                                               {"--socket-mode", "9"},
                                               {"--log-level", "loud"},
                                               {"--check", "--max-line", "-1"},
                                               {"--check", "--max-output", "0"}}) {
        DaemonProcess daemon(arguments);
        EXPECT_EQ(2, daemon.Wait()) << arguments[0];
    }
    for (const char* line : {"save-dely = 5\n", "[server]\nsave-delay = 5\n"}) {
        const std::string config = _directory.Write("settingsd.conf", line);
        DaemonProcess daemon({"--check", "--store", "memory:", "--config", config});
        EXPECT_EQ(2, daemon.Wait()) << line;
        EXPECT_EQ(0u, daemon.Log().find("zumra-settingsd: '" + config + "': ")) << daemon.Log();
    }
}

TEST_F(DaemonTest, EnforcesRestrictionsByWhoIsConnected) {
    const std::string me = std::to_string(::getuid());
    const std::string nobody = std::to_string(::getuid() + 1);
    const std::string defaults =
        _directory.Write("defaults.ini", "[Keys]\nk = 1\n[Open]\no = 1\n[Fixed]\nf = 1\n");
    const std::string restricted =
        _directory.Write("restricted.ini", "[Keys]\nread = " + nobody + "\n[Fixed]\nread = " + me +
                                               "\nwrite = " + nobody + "\n");
    Start({"--defaults", defaults, "--restricted", restricted});
    EXPECT_EQ("data\n[Fixed]\nf = 1\n\n[Open]\no = 1\n\n.\n", Ask("get delimited\n*\n.\n"));
    EXPECT_EQ("error\nnot allowed to write group 'Fixed'\n", Ask("merge\n[Open]\no=2\n[Fixed]\nf=2\n.\n"));
    EXPECT_EQ("data\n[Open]\no = 1\n\n.\n", Ask("get delimited\nOpen\n.\n"));
}

TEST_F(DaemonTest, LetsNobodyInByRestrictionsThatItDoesNotUnderstand) {
    const std::string nobody = std::to_string(::getuid() + 1);
    const std::string defaults = _directory.Write("defaults.ini", "[Keys]\nk = 1\n[Open]\no = 1\n");
    const std::string nonsense = "[Keys]\nraed = " + nobody + "\n";
    const std::string restricted = _directory.Write("restricted.ini", nonsense);
    const std::vector<std::string> options{"--defaults", defaults, "--restricted", restricted};
    std::vector<std::string> all{"--socket", _socket, "--store", "ini:" + _store};
    all.insert(all.end(), options.begin(), options.end());
    DaemonProcess refused(all);
    ASSERT_FALSE(refused.Serves());
    EXPECT_EQ(1, refused.Wait());
    EXPECT_NE(std::string::npos, refused.Log().find("restricted.ini")) << refused.Log();
    EXPECT_NE(std::string::npos, refused.Log().find("raed")) << refused.Log();
    EXPECT_NE(0, ::access(_socket.c_str(), F_OK));

    _directory.Write("restricted.ini", "[Keys]\nread = " + nobody + "\n");
    Start(options);
    _directory.Write("restricted.ini", nonsense);
    _directory.Write("defaults.ini", "[Keys]\nk = 2\n[Open]\no = 2\n");
    _daemon->Signal(SIGHUP);
    ASSERT_TRUE(_daemon->WaitForLog("nothing was read again, the old stays: ")) << _daemon->Log();
    EXPECT_EQ("data\n[Open]\no = 1\n\n.\n", Ask("get delimited\n*\n.\n"));
    _directory.Write("restricted.ini", "[Open]\nread = " + nobody + "\n");
    RawClient connected = Connect();
    _daemon->Signal(SIGHUP);
    ASSERT_TRUE(_daemon->WaitForLog("were read again")) << _daemon->Log();
    connected.Send("get delimited\n*\n.\n");
    EXPECT_EQ("data\n[Keys]\nk = 2\n\n.\n", connected.ReceiveUntil("\n.\n")) << "also who was there before";
}

TEST_F(DaemonTest, ReportsItselfAndItsClients) {
    Start();
    RawClient subscriber = Connect();
    subscriber.Send("subscribe\na\nb*\n.\nsync\n");
    ASSERT_EQ("synced\n", subscriber.ReceiveUntil("\n"));
    const std::string stats = Ask("merge\n[a]\nx=1\n.\nstats\n");
    EXPECT_NE(std::string::npos, stats.find("\nConnections = 2\n")) << stats;
    EXPECT_NE(std::string::npos, stats.find("\nGroups = 1\n")) << stats;
    EXPECT_NE(std::string::npos, stats.find("\nRevision = 1\n")) << stats;
    const std::string clients = Ask("clients\n");
    EXPECT_NE(std::string::npos, clients.find("Process = " + std::to_string(::getpid()))) << clients;
    EXPECT_NE(std::string::npos, clients.find("Subscription000 = a\nSubscription001 = b*\n")) << clients;
}

TEST_F(DaemonTest, CutsOffAReaderThatIsTooSlowAndDelaysNobody) {
    Start({"--max-output", "100000", "--log-level", "notice"});
    RawClient slow = Connect();
    slow.Send("subscribe\n*\n.\nsync\n");
    ASSERT_EQ("synced\n", slow.ReceiveUntil("\n"));
    RawClient writer = Connect();
    const std::string value(20000, 'v');
    for (int round = 0; round < 100; ++round) {
        writer.Send("merge\n[a]\nx=" + std::to_string(round) + value + "\n.\nsync\n");
        ASSERT_EQ("synced\n", writer.ReceiveUntil("\n"));
    }
    EXPECT_TRUE(_daemon->WaitForLog("closed: "));
    EXPECT_EQ("synced\n", Ask("sync\n"));
    EXPECT_EQ(0, Stop());
}

TEST_F(DaemonTest, LetsConnectionsOverTheirNumberWait) {
    Start({"--max-connections", "1"});
    std::optional<RawClient> first(std::in_place, _socket);
    first->Send("sync\n");
    ASSERT_EQ("synced\n", first->ReceiveUntil("\n"));
    RawClient second = Connect();
    second.Send("merge\n[a]\nx=1\n.\nsync\n");
    for (int i = 0; i < 20; ++i) {  // far more turns than it would need to be served
        first->Send("sync\n");
        ASSERT_EQ("synced\n", first->ReceiveUntil("\n"));
    }
    first->Send("get delimited\na\n.\n");
    EXPECT_EQ("data\n.\n", first->ReceiveUntil("\n.\n")) << "the other is served";
    first.reset();
    EXPECT_EQ("synced\n", second.ReceiveUntil("\n"));
}

TEST_F(DaemonTest, GoesOnInMemoryWhenTheDiskIsFullAndRecoversByItself) {
    Start();
    ASSERT_EQ("flushed\n", Ask("merge\n[a]\nx=1\n.\nflush\n"));
    // No file may grow beyond a few bytes: every save fails while it writes.
    const rlimit small{8, RLIM_INFINITY};
    ASSERT_EQ(0, ::prlimit(_daemon->Process(), RLIMIT_FSIZE, &small, nullptr));
    for (int flush = 0; flush < 2; ++flush) {
        const std::string reply = Ask("merge\n[a]\nx=" + std::to_string(2 + flush) + "\n.\nflush\n");
        EXPECT_EQ(0u, reply.find("error\n")) << reply;
        EXPECT_NE(std::string::npos, reply.find(std::strerror(EFBIG))) << reply;
    }
    EXPECT_EQ(0u, Ask("test-and-merge\n.\n[b]\ny=1\n.\n").find("error\n"));
    EXPECT_TRUE(_daemon->WaitForLog("could not be saved, going on in memory"));
    _daemon->DrainLog();
    const std::string& log = _daemon->Log();
    EXPECT_EQ(log.find("going on in memory"), log.rfind("going on in memory")) << "it is told once: " << log;
    EXPECT_EQ("data\n[a]\nx = 3\n\n[b]\ny = 1\n\n.\n", Ask("get delimited\n*\n.\n"));
    EXPECT_EQ("1", IniFileText().GetValue("a", "x"));
    const rlimit room{RLIM_INFINITY, RLIM_INFINITY};
    ASSERT_EQ(0, ::prlimit(_daemon->Process(), RLIMIT_FSIZE, &room, nullptr));
    EXPECT_TRUE(_daemon->WaitForLog("saved again"));
    _daemon->Signal(SIGKILL);
    _daemon->Wait();
    EXPECT_EQ("3", Saved().GetValue("a", "x"));
    EXPECT_EQ("1", Saved().GetValue("b", "y"));
}

TEST_F(DaemonTest, WritesNothingWhenNothingChanged) {
    Start({"--save-delay", "0"});
    ASSERT_EQ("flushed\n", Ask("merge\n[a]\nx=1\n.\nflush\n"));
    struct stat before {};
    ASSERT_EQ(0, ::stat(_store.c_str(), &before));
    ASSERT_EQ("flushed\n", Ask("merge\n[a]\nx=1\n.\nrestore\n*\n.\nflush\n"));
    EXPECT_EQ(0, Stop());
    struct stat after {};
    ASSERT_EQ(0, ::stat(_store.c_str(), &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(DaemonTest, SurvivesNonsense) {
    Start();
    RawClient client = Connect();
    client.Send("what\nmerge\nnonsense\n.\nsync\n");
    const std::string reply = client.ReceiveUntil("synced\n");
    EXPECT_EQ(0u, reply.find("error\n")) << reply;
    EXPECT_NE(std::string::npos, reply.find("nonsense")) << reply;
    EXPECT_EQ("data\n.\n", Ask("get delimited\n*\n.\n"));
}

}  // namespace
}  // namespace zumra::settingsd
