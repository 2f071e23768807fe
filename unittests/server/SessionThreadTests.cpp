#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <map>
#include <semaphore>
#include <sstream>
#include <thread>

#include "server/SessionHarness.h"

namespace zumra::settings::server::testing {
namespace {

constexpr int kThreads = 8;
/// A group that makes a reply take its time, so that there is a chance of changes meanwhile.
constexpr const char* kBallast = "ballast";
#ifdef __SANITIZE_THREAD__
constexpr int kRounds = 150;
#else
constexpr int kRounds = 600;
#endif

/// What a client that is subscribed to all counters from the beginning knows of them. Every commit raises one
/// counter by one, so each notification must be exactly one more than what is known, and what is read exactly
/// what is known: any change missed, told twice or told in the wrong place shows.
class Counters {
public:
    void Receive(const std::string& output) {
        _unread += output;
        std::istringstream in(_unread);
        std::string line;
        while (std::getline(in, line)) {
            if (line == "async change") {
                ReadNotification(in);
            } else if (line == "data") {
                ReadData(in);
            } else {
                ADD_FAILURE() << "unexpected line: " << line;
            }
        }
        _unread.clear();
    }

    int At(const std::string& group) const {
        const auto at = _known.find(group);
        return at == _known.end() ? 0 : at->second;
    }
    int Notifications() const { return _notifications; }

private:
    void ReadNotification(std::istream& in) {
        ++_notifications;
        std::string line;
        while (std::getline(in, line) && line != ".") {
        }
        for (const auto& [group, value] : ReadDocument(in)) {
            EXPECT_EQ(value, At(group) + 1) << group;
            _known[group] = value;
        }
    }

    void ReadData(std::istream& in) {
        for (const auto& [group, value] : ReadDocument(in)) {
            EXPECT_EQ(value, At(group)) << group;
        }
    }

    static std::map<std::string, int> ReadDocument(std::istream& in) {
        std::string text;
        for (std::string line; std::getline(in, line) && line != ".";) {
            text += line + '\n';
        }
        core::IniFile document;
        document.LoadFromString(text);
        std::map<std::string, int> values;
        for (const auto& [group, content] : document) {
            if (group != kBallast) {
                values[group] = std::stoi(content.at("n"));
            }
        }
        return values;
    }

    std::string _unread;
    std::map<std::string, int> _known;
    int _notifications = 0;
};

void CountAndRead(Server& server, int number, Counters& counters, std::barrier<>& together) {
    Session session(server.env, {});
    counters.Receive(Feed(session, "subscribe\nw*\n.\n"));
    together.arrive_and_wait();
    const std::string group = "w" + std::to_string(number);
    for (int i = 1; i <= kRounds; ++i) {
        const std::string merge = "merge\n[" + group + "]\nn=" + std::to_string(i) + "\n.\n";
        counters.Receive(Feed(session, merge));
        EXPECT_EQ(counters.At(group), i) << "the notification of an own change comes before what is later";
        counters.Receive(Feed(session, "get delimited\nw*\nballast\n.\n"));
        counters.Receive(Feed(session, "get-value\n[w0]n\n[w1]n\n[w2]n\n[w3]n\n.\n"));
    }
    together.arrive_and_wait();
    const std::string rest = Feed(session, "sync\n");
    ASSERT_TRUE(rest.ends_with("synced\n"));
    counters.Receive(rest.substr(0, rest.size() - 7));
}

TEST(SessionThreadTests, EveryConnectionSeesEveryChangeOnceInOrderAndReadsInPlace) {
    Server server;
    server.manager->SetValue(kBallast, "n", std::string(20000, 'x'));
    std::vector<Counters> counters(kThreads);
    std::barrier<> together(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(
            [&, i] { CountAndRead(server, i, counters[static_cast<std::size_t>(i)], together); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Counters& each : counters) {
        EXPECT_EQ(each.Notifications(), kThreads * kRounds);
        for (int i = 0; i < kThreads; ++i) {
            EXPECT_EQ(each.At("w" + std::to_string(i)), kRounds);
        }
    }
}

TEST(SessionThreadTests, NoWakeIsMissed) {
    Server server;
    std::counting_semaphore<> woken{0};
    Session session(server.env, {{}, nullptr, [&woken] { woken.release(); }, nullptr});
    Feed(session, "subscribe\nw\n.\n");
    std::thread writer([&server] {
        for (int i = 1; i <= kRounds * 10; ++i) {
            server.manager->SetValue("w", "n", std::to_string(i));
        }
    });
    Counters counters;
    while (counters.At("w") < kRounds * 10) {
        woken.acquire();
        counters.Receive(Drain(session));
    }
    writer.join();
    EXPECT_FALSE(session.HasOutput());
}

TEST(SessionThreadTests, SessionsComeAndGoWhileOthersWrite) {
    Server server;
    std::atomic<bool> stop{false};
    std::vector<std::thread> writers;
    for (int i = 0; i < 2; ++i) {
        writers.emplace_back([&server, &stop, i] {
            for (int n = 0; !stop; ++n) {
                server.manager->SetValue("w" + std::to_string(i), "n", std::to_string(n));
            }
        });
    }
    std::vector<std::thread> clients;
    for (int i = 0; i < kThreads - 2; ++i) {
        clients.emplace_back([&server] {
            for (int n = 0; n < kRounds / 3; ++n) {
                bool alive = true;
                auto session = std::make_unique<Session>(
                    server.env, Session::Options{{}, nullptr, [&alive] { EXPECT_TRUE(alive); }, nullptr});
                const std::string output = Feed(*session, "subscribe\nw*\n.\nget\nw0\n.\nsync\n");
                EXPECT_NE(output.find("synced\n"), std::string::npos);
                session.reset();
                alive = false;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    stop = true;
    for (std::thread& writer : writers) {
        writer.join();
    }
}

}  // namespace
}  // namespace zumra::settings::server::testing
