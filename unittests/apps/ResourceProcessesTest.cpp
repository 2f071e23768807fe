// Many processes that reserve a resource of one daemon at once.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <exception>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "apps/DaemonProcess.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "settings/client/connection/SocketStream.h"
#include "support/ResourceInvariant.h"
#include "support/TemporaryDirectory.h"
#include "zumra/settings/ResourceReserver.h"

namespace zumra::settingsd {
namespace {

constexpr int kProcesses = 6;
constexpr int kRounds = 60;
constexpr int kTotal = 100;

// How a process ends.
constexpr int kDone = 0;
constexpr int kWrongUse = 1;
constexpr int kNotReleased = 2;
constexpr int kException = 3;

std::unique_ptr<settings::ZumraSettingsClient> Connect(const std::string& socket) {
    using namespace settings::client;
    const RawClient connected(socket);
    FileDescriptor descriptor(::dup(connected.Descriptor()));
    return std::make_unique<settings::ZumraSettingsClient>(
        MakeConnectionBackend(std::make_unique<SocketStream>(std::move(descriptor)), {}));
}

int ReserveAtRandom(const std::string& socket, int number) {
    const auto client = Connect(socket);
    settings::ResourceReserver mine(client.get(), "R", "process" + std::to_string(number));
    std::mt19937 random(static_cast<unsigned>(number));
    int used = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int amount = 1 + static_cast<int>(random() % 45);
        if (mine.TrySetUsage(amount)) {
            used = amount;
        }
        if (mine.GetCurrentUsage() != used) {
            return kWrongUse;
        }
    }
    return mine.TrySetUsage(0) ? kDone : kNotReleased;
}

/// In the new process: begins when all others have closed `gate`, and never returns.
[[noreturn]] void RunProcess(int gate, const std::string& socket, int number) {
    char byte = 0;
    int status = kException;
    try {
        if (::read(gate, &byte, 1) == 0) {
            status = ReserveAtRandom(socket, number);
        }
    } catch (const std::exception& error) {
        std::cerr << "process " << number << ": " << error.what() << std::endl;
    }
    ::_exit(status);
}

int WaitFor(pid_t process) {
    int status = -1;
    ::waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

TEST(ResourceProcessesTest, TogetherNeverHoldMoreThanThereIs) {
    const test::TemporaryDirectory directory;
    const std::string socket = directory.File("socket");
    DaemonProcess daemon({"--socket", socket, "--store", "memory:"});
    ASSERT_TRUE(daemon.Serves()) << daemon.Log();

    // Forked while this process has no thread yet.
    std::array<int, 2> gate{};
    ASSERT_EQ(::pipe(gate.data()), 0);
    std::vector<pid_t> processes;
    for (int number = 0; number < kProcesses; ++number) {
        processes.push_back(::fork());
        ASSERT_GE(processes.back(), 0);
        if (processes.back() == 0) {
            ::close(gate[1]);
            RunProcess(gate[0], socket, number);
        }
    }
    test::ResourceInvariant invariant(kTotal);
    const auto watching = Connect(socket);
    watching->Subscribe(&invariant, "Resources/*");
    ::close(gate[0]);
    ::close(gate[1]);
    for (const pid_t process : processes) {
        EXPECT_EQ(WaitFor(process), kDone);
    }
    core::IniFile stored;
    watching->GetSettings("*", stored);
    EXPECT_EQ(stored.size(), static_cast<std::size_t>(kProcesses));
    for (const auto& [group, values] : stored) {
        EXPECT_EQ(values.at("CurrentlyUsed"), "0") << group;
    }
    invariant.WaitUntilSeen(stored);
    EXPECT_EQ(invariant.Wrong(), "");
    EXPECT_GT(invariant.Changes(), kProcesses) << "not only what released everything";
    watching->UnSubscribe(&invariant);
}

}  // namespace
}  // namespace zumra::settingsd
