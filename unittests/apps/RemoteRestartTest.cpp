// The daemon ends and comes back, or is killed, while remote clients write and follow what others write.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"
#include "zumra/osa/Exception.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settingsd {
namespace {

using settings::ZumraSettingsClient;

constexpr std::size_t kWriters = 4;
constexpr std::size_t kRestarts = 6;
/// Changes of one writer that are seen between two restarts.
constexpr std::size_t kChangesBetween = 30;

ZumraSettingsClient::RemoteOptions Patient(const std::string& socket) {
    ZumraSettingsClient::RemoteOptions options;
    options.socketPath = socket;
    options.patience = std::chrono::hours(1);
    return options;
}

std::string GroupOf(std::size_t writer) {
    return "writer/" + std::to_string(writer);
}

int NumberIn(const core::IniFile& data, std::size_t writer) {
    return std::stoi("0" + data.GetValue(GroupOf(writer), "number"));
}

/// A client that follows all writers.
class Follower final : public settings::IChangeCallback {
public:
    explicit Follower(const std::string& socket) : _client(Patient(socket)) {
        _client.Subscribe(this, "writer/*");
    }
    ~Follower() override { _client.UnSubscribe(this); }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    void SettingsChanged(const std::set<std::string>& changed, const core::IniFile& data) override {
        osa::MutexLock lock(_mutex);
        for (std::size_t writer = 0; writer < kWriters; ++writer) {
            if (changed.count(GroupOf(writer)) != 0) {
                _told[writer].push_back(NumberIn(data, writer));
            }
        }
        _changed.NotifyAll();
    }
    /// Waits until it was told this many more changes of the writer.
    void AwaitMore(std::size_t writer, std::size_t count) {
        osa::MutexLock lock(_mutex);
        count += _told[writer].size();
        while (_told[writer].size() < count) {
            _changed.Wait(_mutex);
        }
    }
    void AwaitNumber(std::size_t writer, int number) {
        osa::MutexLock lock(_mutex);
        while (_told[writer].empty() || _told[writer].back() != number) {
            _changed.Wait(_mutex);
        }
    }
    std::vector<int> Told(std::size_t writer) {
        osa::MutexLock lock(_mutex);
        return _told[writer];
    }

private:
    osa::Mutex _mutex;
    osa::Condition _changed;
    std::array<std::vector<int>, kWriters> _told ZUMRA_GUARDED_BY(_mutex);
    ZumraSettingsClient _client;
};

/// Writes one number after the other, and now and then has them saved.
class Writer {
public:
    Writer(const std::string& socket, std::size_t number, const std::atomic<bool>& stop)
        : _client(Patient(socket)), _group(GroupOf(number)), _thread([this, &stop] {
              while (!stop) {
                  Write();
              }
          }) {}

    void Join() { _thread.join(); }
    /// The last number that the server acknowledged, or said to have saved.
    [[nodiscard]] int Acknowledged() const { return _acknowledged; }
    [[nodiscard]] int Saved() const { return _saved; }

private:
    void Write() {
        try {
            _client.SetValue("[" + _group + "]number", std::to_string(++_number));
            _acknowledged = _number;
            if (_number % 8 == 0) {
                _client.Flush();
                _saved = _number;
            }
        } catch (const osa::Exception& e) {
            EXPECT_EQ(std::string(e.what()).rfind("connection lost: ", 0), 0U) << e.what();
        }
    }

    int _number = 0;
    int _acknowledged = 0;
    std::atomic<int> _saved{0};
    ZumraSettingsClient _client;
    const std::string _group;
    std::thread _thread;
};

class RemoteRestartTest : public ::testing::Test {
protected:
    void Start() {
        _daemon = std::make_unique<DaemonProcess>(
            std::vector<std::string>{"--socket", _socket, "--store", _uri, "--save-delay", "20"});
        ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    }
    void Restart(int signal) {
        _daemon->Signal(signal);
        ASSERT_EQ(_daemon->Wait(), signal == SIGKILL ? 1000 + SIGKILL : 0) << _daemon->Log();
        Start();
    }
    /// Lets everybody run over the restarts; afterwards all followers know the last change of all writers.
    void RunOverRestarts(int signal) {
        Start();
        for (auto& follower : _followers) {
            follower = std::make_unique<Follower>(_socket);
        }
        std::atomic<bool> stop{false};
        for (std::size_t i = 0; i < kWriters; ++i) {
            _writers.push_back(std::make_unique<Writer>(_socket, i, stop));
        }
        for (std::size_t i = 0; i < kRestarts; ++i) {
            for (std::size_t writer = 0; writer < kWriters; ++writer) {
                _followers[i % _followers.size()]->AwaitMore(writer, kChangesBetween);
            }
            const std::array<int, kWriters> saved = Saved();
            Restart(signal);
            ExpectAtLeast(saved);
        }
        stop = true;
        for (const auto& writer : _writers) {
            writer->Join();
        }
        ZumraSettingsClient(Patient(_socket)).GetSettings("writer/*", _end);
        for (const auto& follower : _followers) {
            for (std::size_t writer = 0; writer < kWriters; ++writer) {
                follower->AwaitNumber(writer, NumberIn(_end, writer));
            }
        }
    }

    [[nodiscard]] std::array<int, kWriters> Saved() const {
        std::array<int, kWriters> saved{};
        for (std::size_t writer = 0; writer < kWriters; ++writer) {
            saved[writer] = _writers[writer]->Saved();
        }
        return saved;
    }
    void ExpectAtLeast(const std::array<int, kWriters>& numbers) const {
        core::IniFile stored;
        ZumraSettingsClient(Patient(_socket)).GetSettings("writer/*", stored);
        for (std::size_t writer = 0; writer < kWriters; ++writer) {
            EXPECT_GE(NumberIn(stored, writer), numbers[writer]) << "what was saved is gone";
        }
    }

    const test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("socket");
    const std::string _uri = "ini:" + _directory.File("store.ini");
    std::unique_ptr<DaemonProcess> _daemon;
    std::array<std::unique_ptr<Follower>, 3> _followers;
    std::vector<std::unique_ptr<Writer>> _writers;
    core::IniFile _end;
};

/// How often a number does not follow the one before.
std::size_t Jumps(const std::vector<int>& told) {
    std::size_t jumps = 0;
    for (std::size_t i = 1; i < told.size(); ++i) {
        jumps += told[i] != told[i - 1] + 1 ? 1 : 0;
    }
    return jumps;
}

TEST_F(RemoteRestartTest, DaemonThatEndsInOrderLosesNothingAndNobodyMissesAChange) {
    RunOverRestarts(SIGTERM);
    for (std::size_t writer = 0; writer < kWriters; ++writer) {
        EXPECT_GE(NumberIn(_end, writer), _writers[writer]->Acknowledged());
        for (const auto& follower : _followers) {
            const std::vector<int> told = follower->Told(writer);
            for (std::size_t i = 1; i < told.size(); ++i) {
                EXPECT_GT(told[i], told[i - 1]) << "told twice, or what was before";
            }
            EXPECT_LE(Jumps(told), kRestarts) << "changes were missed while there was a connection";
        }
    }
}

TEST_F(RemoteRestartTest, DaemonThatIsKilledKeepsWhatWasSavedAndEverybodyIsToldWhatIsThere) {
    RunOverRestarts(SIGKILL);
    for (std::size_t writer = 0; writer < kWriters; ++writer) {
        for (const auto& follower : _followers) {
            const std::vector<int> told = follower->Told(writer);
            for (std::size_t i = 1; i < told.size(); ++i) {
                EXPECT_NE(told[i], told[i - 1]) << "told of what is no change";
            }
            // Back to what was saved, and on from there.
            EXPECT_LE(Jumps(told), 2 * kRestarts) << "changes were missed while there was a connection";
        }
    }
}

/// The program "watch" of the command line, and what it writes.
class WatchProgram {
public:
    explicit WatchProgram(const std::string& arguments)
        : _output(::popen((ZUMRA_EMULATOR " " ZUMRA_SETTINGS_PROGRAM " " + arguments).c_str(), "r")) {}
    ~WatchProgram() {
        if (_output != nullptr) {
            ::pclose(_output);
        }
    }
    WatchProgram(const WatchProgram&) = delete;
    WatchProgram& operator=(const WatchProgram&) = delete;

    /// Reads up to this line; false when the output ended before.
    bool AwaitLine(const std::string& line) {
        std::array<char, 256> read{};
        while (std::fgets(read.data(), read.size(), _output) != nullptr) {
            if (read.data() == line + "\n") {
                return true;
            }
        }
        return false;
    }
    int Wait() {
        const int status = ::pclose(_output);
        _output = nullptr;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    std::FILE* _output;
};

TEST_F(RemoteRestartTest, CommandLineWatchesOnOverARestart) {
    Start();
    ZumraSettingsClient client(Patient(_socket));
    client.SetValue("[a]x", "0");
    WatchProgram watch("--socket " + _socket + " --form ini watch --initial --count 2 a");
    ASSERT_TRUE(watch.AwaitLine("x = 0"));
    client.SetValue("[a]x", "1");
    ASSERT_TRUE(watch.AwaitLine("x = 1"));
    Restart(SIGTERM);
    client.SetValue("[a]x", "2");
    EXPECT_TRUE(watch.AwaitLine("x = 2"));
    EXPECT_EQ(watch.Wait(), 0);
}

}  // namespace
}  // namespace zumra::settingsd
