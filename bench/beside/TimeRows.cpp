#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <chrono>
#include <random>
#include <stdexcept>
#include <thread>

#include "Rows.h"

namespace zumra::beside {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kSettings = 1000;

double MicrosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

void SetAll(IAccess& access, const std::string& value) {
    for (unsigned setting = 0; setting < kSettings; ++setting) {
        access.Set(setting, value);
    }
}

enum class Kind { kSet, kGet };

/// Each client has settings of its own, so that every read can be checked.
void Work(IAccess& access, Kind kind, unsigned first, unsigned requests, std::size_t size) {
    for (unsigned request = 0; request < requests; ++request) {
        const unsigned setting = first + request % kPerGroup;
        if (kind == Kind::kSet) {
            access.Set(setting, std::string(size, static_cast<char>('a' + request % 26)));
        } else if (access.Get(setting).size() != size) {
            throw std::runtime_error("a value that was read is not the one that was set");
        }
    }
}

Row OneClient(Kind kind, std::size_t size) {
    return {
        std::string(kind == Kind::kSet ? "set" : "get") + ", one client, " + std::to_string(size) + " bytes",
        "µs", [kind, size](Contender& contender, const Effort& effort) -> Row::Sample {
            std::shared_ptr<IAccess> access = contender.Connect();
            SetAll(*access, std::string(size, 'x'));
            return [=] {
                const auto start = Clock::now();
                Work(*access, kind, 0, effort.requests, size);
                return MicrosecondsSince(start) / effort.requests;
            };
        }};
}

/// All clients at once, each on a thread and a connection of its own; time for one request of any of them.
double AllAtOnce(const std::vector<std::shared_ptr<IAccess>>& clients, Kind kind, unsigned requests,
                 std::size_t size) {
    std::barrier start(static_cast<std::ptrdiff_t>(clients.size()) + 1);
    std::vector<std::thread> threads;
    for (std::size_t client = 0; client < clients.size(); ++client) {
        threads.emplace_back([&, client] {
            start.arrive_and_wait();
            Work(*clients[client], kind, static_cast<unsigned>(client) * kPerGroup, requests, size);
        });
    }
    start.arrive_and_wait();
    const auto began = Clock::now();
    for (std::thread& thread : threads) {
        thread.join();
    }
    return MicrosecondsSince(began) / (requests * static_cast<double>(clients.size()));
}

Row ManyClients(Kind kind, std::size_t size, unsigned count) {
    return {std::string(kind == Kind::kSet ? "set" : "get") + ", " + std::to_string(count) + " clients, " +
                std::to_string(size) + " bytes, a request of any",
            "µs", [=](Contender& contender, const Effort& effort) -> Row::Sample {
                std::vector<std::shared_ptr<IAccess>> clients;
                for (unsigned client = 0; client < count; ++client) {
                    clients.push_back(contender.Connect());
                }
                SetAll(*clients.front(), std::string(size, 'x'));
                const unsigned requests = std::max(1u, effort.requests / 20);
                return [=] { return AllAtOnce(clients, kind, requests, size); };
            }};
}

/// Sockets that are subscribed.
class Subscribers {
public:
    Subscribers(Contender& contender, unsigned count) {
        for (unsigned number = 0; number < count; ++number) {
            _sockets.push_back(contender.Subscribe());
        }
        // A reader that waited for them in the order in which one of the servers writes would be woken by
        // each.
        std::shuffle(_sockets.begin(), _sockets.end(), std::mt19937(1));
    }
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;
    ~Subscribers() {
        for (const int socket : _sockets) {
            ::close(socket);
        }
    }

    /// Returns when each has received the text.
    void Receive(const std::string& text) {
        std::string got(text.size(), '\0');
        for (const int socket : _sockets) {
            const ssize_t size = ::recv(socket, got.data(), got.size(), MSG_WAITALL);
            if (size != static_cast<ssize_t>(text.size()) || got != text) {
                throw std::runtime_error("a subscriber received '" + got + "' instead of '" + text + "'");
            }
        }
    }

private:
    std::vector<int> _sockets;
};

Row FanOut(unsigned count) {
    return {"from a change until " + std::to_string(count) + " subscribers have been told", "µs",
            [count](Contender& contender, const Effort&) -> Row::Sample {
                std::shared_ptr<IAccess> publisher = contender.Connect();
                auto subscribers = std::make_shared<Subscribers>(contender, count);
                return [=, &contender, number = 0]() mutable {
                    const std::string value = "value number " + std::to_string(10000000 + ++number);
                    const std::string expected = contender.Notification(value);
                    const auto start = Clock::now();
                    publisher->Publish(value);
                    subscribers->Receive(expected);
                    return MicrosecondsSince(start);
                };
            }};
}

}  // namespace

std::vector<Row> TimeRows(const Effort& effort) {
    std::vector<Row> rows;
    for (const std::size_t size : {32u, 1024u}) {
        rows.push_back(OneClient(Kind::kSet, size));
        rows.push_back(OneClient(Kind::kGet, size));
    }
    for (const std::size_t size : {32u, 1024u}) {
        rows.push_back(ManyClients(Kind::kSet, size, effort.clients));
        rows.push_back(ManyClients(Kind::kGet, size, effort.clients));
    }
    rows.push_back(FanOut(effort.connections));
    return rows;
}

}  // namespace zumra::beside
