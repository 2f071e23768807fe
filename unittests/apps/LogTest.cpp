#include "zumra-settingsd/Log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "support/FailingMemory.h"
#include "support/TemporaryDirectory.h"
#include "zumra-settingsd/LogWriter.h"

namespace zumra::settingsd {
namespace {

/// A log on a file, whole as soon as there is no `Log` any more.
class LogTest : public ::testing::Test {
protected:
    LogTest() : _fd(::open(_directory.File("log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600)) {}
    ~LogTest() override { ::close(_fd); }
    [[nodiscard]] std::string Text() const {
        std::ostringstream text;
        text << std::ifstream(_directory.File("log")).rdbuf();
        return text.str();
    }
    test::TemporaryDirectory _directory;
    int _fd;
};

TEST_F(LogTest, WritesALineAnEventWithItsLevel) {
    {
        Log log(Log::kDebug, _fd);
        log.Error("disk full");
        log.Warning("slow");
        log.Notice("started");
        log.Info("loaded");
        log.Debug("connected");
    }
    EXPECT_EQ("<3>disk full\n<4>slow\n<5>started\n<6>loaded\n<7>connected\n", Text());
}

TEST_F(LogTest, LeavesOutWhatIsNotAskedFor) {
    {
        Log log(Log::kWarning, _fd);
        log.Notice("started");
        log.Warning("slow");
    }
    EXPECT_EQ("<4>slow\n", Text());
}

TEST_F(LogTest, LetsNoEventPoseAsAnother) {
    Log(Log::kInfo, _fd).Info(std::string("group 'a\n<3>forged\r\0\x7f\xc3\xa9'", 24));
    EXPECT_EQ("<6>group 'a\\x0a<3>forged\\x0d\\x00\\x7f\xc3\xa9'\n", Text());
}

TEST_F(LogTest, KeepsLinesOfSeveralThreadsWhole) {
    const std::string event(300, 'x');
    {
        Log log(Log::kInfo, _fd);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                for (int line = 0; line < 200; ++line) {
                    log.Info(event);
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }
    std::istringstream lines(Text());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ("<6>" + event, line);
    }
    EXPECT_EQ(800, count);
}

/// A log on a pipe that is read only when the test says so.
class UnreadLogTest : public ::testing::Test {
protected:
    UnreadLogTest() {
        EXPECT_EQ(0, ::pipe2(_ends.data(), O_CLOEXEC));
        _log.emplace(Log::kInfo, _ends[1]);
    }
    ~UnreadLogTest() override {
        ::close(_ends[0]);
        _log.reset();
        ::close(_ends[1]);
    }
    /// Logs numbered lines of together some megabytes: more than any pipe holds.
    void LogTooMuch() {
        for (int line = 0; line < kLines; ++line) {
            _log->Info(Event(line));
        }
    }
    [[nodiscard]] static std::string Event(int line) { return std::to_string(line) + std::string(100, 'x'); }
    [[nodiscard]] std::string ReadLine() const {
        std::string line;
        for (char byte = 0; ::read(_ends[0], &byte, 1) == 1 && byte != '\n';) {
            line += byte;
        }
        return line;
    }

    /// Reads what was logged, or how much of it is missing, up to the last line; how many lines came.
    [[nodiscard]] int ReadAllLines() const {
        int came = 0;
        for (int next = 0; next < kLines;) {
            const std::string line = ReadLine();
            if (line == "<6>" + Event(next)) {
                ++next;
                ++came;
                continue;
            }
            const int missing = std::atoi(line.c_str() + 3);
            EXPECT_EQ("<4>" + std::to_string(missing) +
                          " lines of the log are missing here, for they could not be written",
                      line);
            if (missing <= 0 || missing > kLines - next) {
                ADD_FAILURE() << "instead of line " << next << ": " << line;
                return came;
            }
            next += missing;
        }
        return came;
    }

    static constexpr int kLines = 40000;
    std::array<int, 2> _ends{};
    std::optional<Log> _log;
};

TEST_F(UnreadLogTest, HoldsUpNobodyAndTellsWhatIsMissing) {
    LogTooMuch();
    EXPECT_LT(1000, ReadAllLines()) << "a burst is no loss";
    _log->Info("going on");
    EXPECT_EQ("<6>going on", ReadLine());
}

TEST_F(UnreadLogTest, LeavesTheDescriptorAsOthersHaveIt) {
    EXPECT_EQ(0, ::fcntl(_ends[1], F_GETFL) & O_NONBLOCK);
    ASSERT_EQ(0, ::fcntl(_ends[1], F_SETFL, O_WRONLY | O_NONBLOCK));
    LogTooMuch();
    EXPECT_LT(1000, ReadAllLines());
    EXPECT_NE(0, ::fcntl(_ends[1], F_GETFL) & O_NONBLOCK);
}

TEST_F(UnreadLogTest, DoesNotKeepTheProgramFromEnding) {
    LogTooMuch();
    _log.reset();
    EXPECT_LT(1000, ReadAllLines()) << "what waits is there as long as the program";
}

/// A disk that has no room until it is told to have some.
class Disk {
public:
    static ssize_t Write(int, const void* bytes, std::size_t size) {
        std::unique_lock lock(_mutex);
        ++_calls;
        _called.notify_all();
        _called.wait(lock, [] { return !_stuck; });
        if (size > _room) {
            size = _room;
            if (size == 0) {
                errno = ENOSPC;
                return -1;
            }
        }
        _room -= size;
        _text.append(static_cast<const char*>(bytes), size);
        return static_cast<ssize_t>(size);
    }
    static void SetRoom(std::size_t room, bool stuck = false) {
        const std::lock_guard lock(_mutex);
        _room = room;
        _stuck = stuck;
        _calls = 0;
        _called.notify_all();
    }
    /// Returns after so many calls since the room was set.
    static void WaitForCalls(int calls) {
        std::unique_lock lock(_mutex);
        _called.wait(lock, [calls] { return _calls >= calls; });
    }
    static std::string TakeText() { return std::exchange(_text, ""); }

private:
    static inline std::mutex _mutex;
    static inline std::condition_variable _called;
    static inline std::size_t _room = 0;
    static inline bool _stuck = false;
    static inline int _calls = 0;
    static inline std::string _text;
};

TEST(LogWriterTest, TellsWhatFoundNoRoomOnADisk) {
    LogWriter writer(0, &Disk::Write);
    Disk::SetRoom(7);
    writer.Add("whole\nand torn\n");
    // One that writes a part, one that fails, and one that fails to tell.
    Disk::WaitForCalls(3);
    Disk::SetRoom(1000);
    writer.Add("later\n");
    ASSERT_TRUE(writer.Finish());
    EXPECT_EQ("whole\na\n<4>1 lines of the log are missing here, for they could not be written\nlater\n",
              Disk::TakeText());
}

TEST(LogWriterTest, TellsWhatFoundNoMemory) {
    const std::string longLine = std::string(1000, 'x') + "\n";
    LogWriter writer(0, &Disk::Write);
    Disk::SetRoom(1000);
    {
        const test::FailingMemory failing(1, true);
        writer.Add(longLine);
        EXPECT_TRUE(failing.Failed());
    }
    Disk::WaitForCalls(1);
    writer.Add("later\n");
    ASSERT_TRUE(writer.Finish());
    EXPECT_EQ("<4>1 lines of the log are missing here, for they could not be written\nlater\n",
              Disk::TakeText());
}

TEST_F(LogTest, ALineWithoutMemoryHoldsUpNobody) {
    {
        const std::string event(1000, 'x');
        Log log(Log::kInfo, _fd);
        const test::FailingMemory failing(1, true);
        log.Error(event);
        EXPECT_TRUE(failing.Failed());
    }
    EXPECT_EQ("<4>1 lines of the log are missing here, for they could not be written\n", Text());
}

TEST(LogWriterTest, PutsNothingBeforeWhatIsMissing) {
    const std::string longLine = std::string(200000, 'x') + "\n";
    LogWriter writer(0, &Disk::Write);
    Disk::SetRoom(1000000, true);
    writer.Add("first\n");
    Disk::WaitForCalls(1);
    writer.Add(longLine);
    writer.Add(longLine);
    writer.Add("short, for which there would be room\n");
    Disk::SetRoom(1000000);
    ASSERT_TRUE(writer.Finish());
    EXPECT_EQ(
        "first\n" + longLine + "<4>2 lines of the log are missing here, for they could not be written\n",
        Disk::TakeText());
}

}  // namespace
}  // namespace zumra::settingsd
