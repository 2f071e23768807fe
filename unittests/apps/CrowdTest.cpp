// A thousand clients with subscriptions while eight write.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

constexpr int kSubscribers = 1000;
constexpr int kWriters = 8;
constexpr int kCommits = 25;

void AllowDescriptors() {
    rlimit limit{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    ASSERT_GT(limit.rlim_cur, static_cast<rlim_t>(kSubscribers + 100)) << "too few descriptors for this test";
}

std::string GroupOf(int writer) {
    return "group" + std::to_string(writer);
}

/// What a subscriber of one writer's group receives, all of it, in order.
std::string ExpectedNotifications(int writer) {
    std::string text;
    for (int number = 1; number <= kCommits; ++number) {
        text += "async change\n" + GroupOf(writer) + "\n.\n[" + GroupOf(writer) +
                "]\nnumber = " + std::to_string(number) + "\n\n.\n";
    }
    return text;
}

void Write(const std::string& socket, int writer) {
    RawClient client(socket);
    for (int number = 1; number <= kCommits; ++number) {
        client.Send("merge\n[" + GroupOf(writer) + "]\nnumber=" + std::to_string(number) + "\n.\nsync\n");
        ASSERT_EQ("synced\n", client.ReceiveUntil("\n"));
    }
}

TEST(CrowdTest, EverySubscriberIsToldEveryChangeOnceInOrder) {
    AllowDescriptors();
    const test::TemporaryDirectory directory;
    const std::string socket = directory.File("socket");
    DaemonProcess daemon({"--socket", socket, "--store", "memory:"});
    ASSERT_TRUE(daemon.Serves()) << daemon.Log();

    std::vector<std::unique_ptr<RawClient>> subscribers;
    for (int number = 0; number < kSubscribers; ++number) {
        subscribers.push_back(std::make_unique<RawClient>(socket));
        subscribers.back()->Send("subscribe\n" + GroupOf(number % kWriters) + "\n.\nsync\n");
    }
    for (const auto& subscriber : subscribers) {
        ASSERT_EQ("synced\n", subscriber->ReceiveUntil("\n"));
    }
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([&socket, writer] { Write(socket, writer); });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    for (int number = 0; number < kSubscribers; ++number) {
        subscribers[static_cast<std::size_t>(number)]->EndInput();
        ASSERT_EQ(ExpectedNotifications(number % kWriters),
                  subscribers[static_cast<std::size_t>(number)]->ReceiveAll())
            << "subscriber " << number;
    }
}

}  // namespace
}  // namespace zumra::settingsd
