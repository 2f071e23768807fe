// Signals that reach the daemon while it still loads.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <optional>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

/// A daemon whose defaults come from a FIFO: it loads until somebody has written them.
class LoadingTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0, ::mkfifo(_defaults.c_str(), 0600)); }
    void Start(std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.end(),
                         {"--socket", _socket, "--store", "ini:" + _store, "--defaults", _defaults});
        _daemon.emplace(arguments, DaemonProcess::Until::kStarted);
    }
    /// The writing end of the defaults. Returns when the daemon has opened them to read.
    [[nodiscard]] int WhenItReads() const { return ::open(_defaults.c_str(), O_WRONLY | O_CLOEXEC); }
    static void WriteAndClose(int file, const std::string& text) {
        EXPECT_EQ(static_cast<ssize_t>(text.size()), ::write(file, text.data(), text.size()));
        ::close(file);
    }

    test::TemporaryDirectory _directory;
    const std::string _defaults = _directory.File("defaults");
    const std::string _socket = _directory.File("run/socket");
    const std::string _store = _directory.File("state/settings.ini");
    std::optional<DaemonProcess> _daemon;
};

class StopWhileLoadingTest : public LoadingTest, public ::testing::WithParamInterface<int> {};

TEST_P(StopWhileLoadingTest, IsARegularStopWithoutServing) {
    Start();
    const int file = WhenItReads();
    _daemon->Signal(GetParam());
    WriteAndClose(file, "[a]\nx = 1\n");
    EXPECT_EQ(0, _daemon->Wait()) << _daemon->Log();
    EXPECT_NE(std::string::npos, _daemon->Log().find("stopped; everything is saved")) << _daemon->Log();
    EXPECT_EQ(std::string::npos, _daemon->Log().find("serving")) << _daemon->Log();
    EXPECT_FALSE(std::filesystem::exists(_socket));
    EXPECT_FALSE(std::filesystem::exists(_store)) << "there was nothing to save";
}

INSTANTIATE_TEST_SUITE_P(Signals, StopWhileLoadingTest, ::testing::Values(SIGTERM, SIGINT),
                         [](const auto& test) { return std::string(test.param == SIGINT ? "Int" : "Term"); });

TEST_F(LoadingTest, KeepsAReloadForLater) {
    Start();
    int file = WhenItReads();
    _daemon->Signal(SIGHUP);
    WriteAndClose(file, "[a]\nx = 1\n");
    ASSERT_TRUE(_daemon->WaitForLog("serving 1 groups")) << _daemon->Log();
    file = WhenItReads();
    WriteAndClose(file, "[a]\nx = 2\n");
    ASSERT_TRUE(_daemon->WaitForLog("were read again")) << _daemon->Log();
    RawClient client(_socket);
    client.Send("get delimited\n*\n.\n");
    EXPECT_EQ("data\n[a]\nx = 2\n\n.\n", client.ReceiveUntil("\n.\n"));
    _daemon->Signal(SIGTERM);
    EXPECT_EQ(0, _daemon->Wait());
}

/// A check changes nothing, and so nothing has to be brought to an end.
TEST_F(LoadingTest, LeavesACheckAtOnce) {
    Start({"--check"});
    const int file = WhenItReads();
    _daemon->Signal(SIGTERM);
    EXPECT_EQ(1000 + SIGTERM, _daemon->Wait());
    ::close(file);
}

}  // namespace
}  // namespace zumra::settingsd
