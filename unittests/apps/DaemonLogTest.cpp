// What becomes of the daemon's log when nobody reads it.
#include <gtest/gtest.h>
#include <signal.h>
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

}  // namespace
}  // namespace zumra::settingsd
