#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "client/Callbacks.h"
#include "client/Exchanges.h"
#include "client/FailingThreads.h"
#include "settings/client/InProcessServer.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings {
namespace {

using Client = ZumraSettingsClient;
using test::Event;
using test::Recorder;

/// What a process has of the things that a client takes.
struct Held {
    int threads = 0;
    int descriptors = 0;

    static Held Now() {
        Held held;
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("Threads:", 0) == 0) {
                held.threads = std::stoi(line.substr(8));
            }
        }
        DIR* folder = ::opendir("/proc/self/fd");
        while (::readdir(folder) != nullptr) {
            ++held.descriptors;
        }
        ::closedir(folder);
        return held;
    }
    friend bool operator==(const Held& a, const Held& b) {
        return a.threads == b.threads && a.descriptors == b.descriptors;
    }
    friend void PrintTo(const Held& held, std::ostream* out) {
        *out << held.threads << " threads, " << held.descriptors << " descriptors";
    }
};

/// The first thread that is started may bring another one with it, which a sanitizer or an emulator keeps.
int ThreadsWithoutClients() {
    static const int threads = [] {
        Event counted;
        std::thread first([&] { counted.Wait(); });
        const int all = Held::Now().threads;
        counted.Set();
        first.join();
        return all - 1;
    }();
    return threads;
}

/// A thread that was joined may be listed for a moment longer.
Held HeldWithThreads(int threads) {
    Held held = Held::Now();
    for (int i = 0; i < 100000 && held.threads != threads; ++i) {
        std::this_thread::yield();
        held = Held::Now();
    }
    return held;
}

/// What is held while no client lives, whatever the test before this one did.
Held HeldAtRest() {
    return HeldWithThreads(ThreadsWithoutClients());
}

class LifetimeTests : public testing::TestWithParam<Client::OperationMode> {
protected:
    [[nodiscard]] static bool HasThreads() { return GetParam() == Client::kLocalMultiThreadedPipe; }
};

INSTANTIATE_TEST_SUITE_P(All, LifetimeTests, testing::ValuesIn(test::kModes),
                         [](const auto& mode) { return test::ModeName(mode.param); });

TEST_P(LifetimeTests, OnlyTheMultiThreadedPipeHasThreads) {
    const Held before = HeldAtRest();
    Recorder callback;
    Client client(GetParam());
    client.Subscribe(&callback, "a");
    client.SetValue("[a]x", "1");
    EXPECT_EQ(Held::Now().threads, before.threads + (HasThreads() ? 3 : 0));
}

TEST_P(LifetimeTests, TenThousandLivesLeaveNothingBehind) {
    const Held before = HeldAtRest();
    for (unsigned i = 0; i < test::Scaled(10000); ++i) {
        Client client(GetParam());
        if (i % 10 == 0) {
            Recorder callback;
            client.Subscribe(&callback, "*");
            client.SetValue("[a]x", "1");
            client.UnSubscribe(&callback);
        }
    }
    EXPECT_EQ(HeldAtRest(), before);
}

TEST_P(LifetimeTests, CallbacksMayStayRegistered) {
    const Held before = HeldAtRest();
    for (unsigned i = 0; i < test::Scaled(500); ++i) {
        Recorder callback;
        Client client(GetParam());
        client.Subscribe(&callback, "*");
        client.SetValue("[a]x", "1");
        client.SetValue("[a]x", "2");
    }
    EXPECT_EQ(HeldAtRest(), before);
}

TEST_P(LifetimeTests, ConstructorThatFindsNoDescriptorsLeavesNothingBehind) {
    const Held before = HeldAtRest();
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    std::set<std::string> errors;
    // The limit is for the numbers of descriptors, of which the lowest that are free are taken.
    for (rlim_t limit = 0;; ++limit) {
        const rlimit tight{limit, old.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &tight);
        std::string error;
        try {
            const Client client(GetParam());
        } catch (const osa::Exception& e) {
            error = e.what();
        }
        ::setrlimit(RLIMIT_NOFILE, &old);
        if (error.empty()) {
            break;
        }
        errors.insert(error.substr(0, error.find(':')));
        EXPECT_EQ(HeldAtRest(), before) << error;
    }
    std::set<std::string> expected;
    if (GetParam() != Client::kLocal) {
        expected.insert("cannot make a socket pair");
    }
    if (HasThreads()) {
        expected.insert({"cannot make an event descriptor", "cannot make an epoll descriptor"});
    }
    EXPECT_EQ(errors, expected);
}

TEST_P(LifetimeTests, ConstructorThatGetsNoThreadLeavesNothingBehind) {
    if (!test::CanFailThreads() || !HasThreads()) {
        return;
    }
    const Held before = HeldAtRest();
    for (int good = 0; good < 3; ++good) {
        test::FailThreadsAfter(good);
        std::string error;
        try {
            const Client client(GetParam());
        } catch (const osa::Exception& e) {
            error = e.what();
        }
        test::FailThreadsAfter(-1);
        EXPECT_EQ(error.substr(0, 22), "cannot start a thread:") << good;
        EXPECT_EQ(HeldAtRest(), before) << good;
    }
}

TEST(LifetimeOfThreadsTests, DestructionWaitsForTheCallbackThatIsRunning) {
    for (unsigned i = 0; i < test::Scaled(200); ++i) {
        Event inside;
        std::atomic<bool> done{false};
        std::atomic<unsigned> calls{0};
        std::optional<Client> client(std::in_place, Client::kLocalMultiThreadedPipe);
        Recorder callback([&](const Recorder::Call&) {
            ++calls;
            inside.Set();
            // The client goes on working for a callback that is running while the destructor waits for it.
            for (int j = 0; j < 20; ++j) {
                client->SetValue("[b]x", std::to_string(j));
                EXPECT_EQ(client->GetValue("[b]x"), std::to_string(j));
            }
            done = true;
        });
        client->Subscribe(&callback, "a");
        client->SetValue("[a]x", "1");
        client->SetValue("[a]x", "2");
        inside.Wait();
        client->~Client();
        const unsigned before = calls;
        EXPECT_TRUE(done);
        std::this_thread::yield();
        EXPECT_EQ(calls, before) << "nobody is called any more";
        new (&*client) Client(Client::kLocal);
    }
}

TEST(LifetimeOfThreadsTests, DestructionWhileOthersChange) {
    for (unsigned i = 0; i < test::Scaled(100); ++i) {
        const client::InProcessServer server;
        Client changing(server.Connect(Client::kLocal));
        std::atomic<bool> stop{false};
        std::thread other([&] {
            for (unsigned j = 0; !stop; ++j) {
                changing.SetValue("[a]x", std::to_string(j));
            }
        });
        for (const auto mode : test::kModes) {
            Recorder callback;
            test::RecordingFollower follower;
            Client client(server.Connect(mode));
            client.Subscribe(&callback, "*");
            client.Backend().Follow(&follower, test::Groups({"a"}));
            client.Sync();
        }
        stop = true;
        other.join();
    }
}

}  // namespace
}  // namespace zumra::settings
