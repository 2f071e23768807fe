// The daemon is killed at random moments while it saves: what it said was saved is there afterwards, and what
// is there was written by one commit, whole.
//
// ZUMRA_KILLS sets how often each store's daemon is killed (150 when not set).
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <thread>

#include "apps/DaemonProcess.h"
#include "storage/OpenStore.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

int Kills() {
    const char* text = std::getenv("ZUMRA_KILLS");
    return text != nullptr ? std::atoi(text) : 150;
}

/// Long enough that a save is many writes.
std::string Padding(int number) {
    return std::string(20000 + static_cast<std::size_t>(number % 7) * 5000, 'p');
}

/// Both groups hold the number: half a commit would show.
std::string Commit(int number) {
    const std::string text = std::to_string(number);
    return "merge\n[first]\nnumber=" + text + "\npadding=" + Padding(number) + "\n[second]\nnumber=" + text +
           "\n.\nflush\n";
}

/// How far the writer is, for the one who kills.
class Progress {
public:
    void Saved(int commits, std::chrono::microseconds lastTook) {
        const std::lock_guard<std::mutex> lock(_mutex);
        _saved = commits;
        _lastTook = lastTook;
        _changed.notify_one();
    }
    void End() {
        const std::lock_guard<std::mutex> lock(_mutex);
        _ended = true;
        _changed.notify_one();
    }
    /// Returns how long the last of so many commits took.
    std::chrono::microseconds Await(int commits) {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [&] { return _ended || _saved >= commits; });
        return _lastTook;
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    int _saved = 0;
    bool _ended = false;
    std::chrono::microseconds _lastTook{6000};
};

struct Written {
    int sent = 0;
    int saved = 0;
};

/// Commits one number after another, each saved, until the daemon is gone.
Written WriteUntilKilled(const std::string& socket, int from, Progress& progress) {
    using Clock = std::chrono::steady_clock;
    Written written{from, from};
    try {
        RawClient client(socket);
        for (;;) {
            const auto start = Clock::now();
            client.Send(Commit(++written.sent));
            if (client.ReceiveUntil("\n") != "flushed\n") {
                break;
            }
            written.saved = written.sent;
            progress.Saved(written.saved - from,
                           std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start));
        }
    } catch (const std::runtime_error&) {
        // The connection broke while sending.
    }
    progress.End();
    return written;
}

class KillTest : public ::testing::TestWithParam<const char*> {
protected:
    /// The number that the store holds; -1 when it holds half a commit.
    [[nodiscard]] int Stored() const {
        const auto document =
            storage::OpenStore(_uri, [](const std::string& warning) { ADD_FAILURE() << warning; })->Load();
        if (document.empty()) {
            return 0;
        }
        const int number = std::atoi(document.GetValue("first", "number").c_str());
        const bool whole = document.GetValue("second", "number") == std::to_string(number) &&
                           document.GetValue("first", "padding") == Padding(number);
        return whole ? number : -1;
    }

    test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("socket");
    const std::string _uri = GetParam() + _directory.File("store");
};

TEST_P(KillTest, LosesNothingThatWasSaved) {
    std::mt19937 random(std::random_device{}());
    int number = 0;
    int commits = 0;
    for (int kill = 0; kill < Kills(); ++kill) {
        DaemonProcess daemon(
            {"--socket", _socket, "--store", _uri, "--save-delay", kill % 2 == 0 ? "0" : "1"});
        ASSERT_TRUE(daemon.Serves()) << daemon.Log();
        // Anywhere in the course of a commit or two, on a fast machine and on a slow one.
        Progress progress;
        const int commitsBefore = static_cast<int>(random() % 4);
        const unsigned permille = random() % 2000;
        std::thread killer([&] {
            std::this_thread::sleep_for(progress.Await(commitsBefore) * permille / 1000);
            daemon.Signal(SIGKILL);
        });
        const Written written = WriteUntilKilled(_socket, number, progress);
        killer.join();
        ASSERT_EQ(1000 + SIGKILL, daemon.Wait()) << daemon.Log();
        const int stored = Stored();
        ASSERT_GE(stored, written.saved) << "kill " << kill << ", " << commitsBefore << " commits before";
        ASSERT_LE(stored, written.sent);
        commits += written.saved - number;
        number = stored;
    }
    RecordProperty("commits", commits);
    EXPECT_GT(commits, 0);
}

INSTANTIATE_TEST_SUITE_P(Stores, KillTest, ::testing::Values("ini:", "sqlite:"), [](const auto& test) {
    return std::string(test.param, std::strlen(test.param) - 1);
});

}  // namespace
}  // namespace zumra::settingsd
