// What becomes of the daemon's log when nobody reads it, and what it tells of what happens again and again.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <string>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

class DaemonLogTest : public ::testing::Test {
protected:
    [[nodiscard]] std::string Ask(const std::string& requests) const {
        RawClient client(_socket);
        client.Send(requests);
        client.EndInput();
        return client.ReceiveAll();
    }
    /// Has the daemon log more than it and the pipe hold.
    void FillLog() const {
        for (int connection = 0; connection < 12000; ++connection) {
            const RawClient client(_socket);
        }
    }

    test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("socket");
    DaemonProcess _daemon{{"--socket", _socket, "--store", "memory:", "--log-level", "debug"}};
};

TEST_F(DaemonLogTest, KeepsNobodyWaitingWhenItIsNotRead) {
    FillLog();
    EXPECT_EQ("data\n[a]\nx = 1\n\n.\n", Ask("merge\n[a]\nx=1\n.\nget delimited\na\n.\n"));
    EXPECT_TRUE(_daemon.WaitForLog(" lines of the log are missing here, for they could not be written\n"));
    _daemon.Signal(SIGHUP);
    EXPECT_TRUE(_daemon.WaitForLog("read again"));
    _daemon.Signal(SIGTERM);
    EXPECT_EQ(0, _daemon.Wait());
    EXPECT_NE(std::string::npos, _daemon.Log().find("everything is saved"));
}

TEST_F(DaemonLogTest, DoesNotKeepTheDaemonFromEndingWhenItIsNotRead) {
    FillLog();
    _daemon.Signal(SIGTERM);
    siginfo_t ended{};
    ASSERT_EQ(0, ::waitid(P_PID, static_cast<id_t>(_daemon.Process()), &ended, WEXITED | WNOWAIT));
    EXPECT_EQ(0, _daemon.Wait());
}

std::size_t Occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST_F(DaemonLogTest, TellsOnceThatNoConnectionCanBeAccepted) {
    RawClient first(_socket);
    first.Send("sync\n");
    ASSERT_EQ("synced\n", first.ReceiveUntil("\n"));
    rlimit before{};
    ASSERT_EQ(0, ::prlimit(_daemon.Process(), RLIMIT_NOFILE, nullptr, &before));
    const rlimit none{1, before.rlim_max};
    ASSERT_EQ(0, ::prlimit(_daemon.Process(), RLIMIT_NOFILE, &none, nullptr));
    RawClient second(_socket);
    const auto refused = [&first] {
        first.Send("stats\n");
        const std::string stats = first.ReceiveUntil("\n.\n");
        const std::string name = "\nConnectionsRefused = ";
        return std::stoi(stats.substr(stats.find(name) + name.size()));
    };
    while (refused() < 3) {
    }
    ASSERT_EQ(0, ::prlimit(_daemon.Process(), RLIMIT_NOFILE, &before, nullptr));
    second.Send("sync\n");
    EXPECT_EQ("synced\n", second.ReceiveUntil("\n"));
    ASSERT_TRUE(_daemon.WaitForLog("connections are accepted again, after "));
    _daemon.Signal(SIGTERM);
    EXPECT_EQ(0, _daemon.Wait());
    const std::string& log = _daemon.Log();
    EXPECT_EQ(1u, Occurrences(log, "cannot accept")) << log;
    EXPECT_EQ(1u, Occurrences(log, "<3>cannot accept connections, trying again: ")) << log;
    const auto again = log.find("again, after ");
    EXPECT_LE(3, std::stoi(log.substr(again + 13))) << log;
}

}  // namespace
}  // namespace zumra::settingsd
