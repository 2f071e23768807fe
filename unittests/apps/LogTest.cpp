#include "zumra-settingsd/Log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

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
    Log log(Log::kDebug, _fd);
    log.Error("disk full");
    log.Warning("slow");
    log.Notice("started");
    log.Info("loaded");
    log.Debug("connected");
    EXPECT_EQ("<3>disk full\n<4>slow\n<5>started\n<6>loaded\n<7>connected\n", Text());
}

TEST_F(LogTest, LeavesOutWhatIsNotAskedFor) {
    Log log(Log::kWarning, _fd);
    log.Notice("started");
    log.Warning("slow");
    EXPECT_EQ("<4>slow\n", Text());
}

TEST_F(LogTest, LetsNoEventPoseAsAnother) {
    Log log(Log::kInfo, _fd);
    log.Info(std::string("group 'a\n<3>forged\r\0\x7f\xc3\xa9'", 24));
    EXPECT_EQ("<6>group 'a\\x0a<3>forged\\x0d\\x00\\x7f\xc3\xa9'\n", Text());
}

TEST_F(LogTest, KeepsLinesOfSeveralThreadsWhole) {
    Log log(Log::kInfo, _fd);
    const std::string event(300, 'x');
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
    std::istringstream lines(Text());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_EQ("<6>" + event, line);
    }
    EXPECT_EQ(800, count);
}

}  // namespace
}  // namespace zumra::settingsd
