// One value read and written through the client. Each benchmark runs in turns with what its work costs at
// least, and reports how many times that its median takes: in the pipe modes a bare round trip of 64 bytes
// through a socket pair between the same kind of threads ("xRoundTrip"), locally the same on a std::map under
// a mutex
// ("xMap").
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "zumra/settings/ZumraSettingsClient.h"

namespace {

using zumra::core::IniFile;
using zumra::settings::IChangeCallback;
using zumra::settings::ZumraSettingsClient;
using Clock = std::chrono::steady_clock;

constexpr const char* kLocator = "[Camera/1]name";

/// Sends 64 bytes one way and the other.
class RoundTrip {
public:
    explicit RoundTrip(bool threaded) {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, _ends.data()) != 0) {
            std::abort();
        }
        if (threaded) {
            _thread = std::thread([this] {
                while (Receive(_ends[1])) {
                    Send(_ends[1]);
                }
            });
        }
    }
    RoundTrip(const RoundTrip&) = delete;
    RoundTrip& operator=(const RoundTrip&) = delete;
    ~RoundTrip() {
        ::shutdown(_ends[0], SHUT_RDWR);
        if (_thread.joinable()) {
            _thread.join();
        }
        ::close(_ends[0]);
        ::close(_ends[1]);
    }

    void Run() {
        Send(_ends[0]);
        if (!_thread.joinable()) {
            Receive(_ends[1]);
            Send(_ends[1]);
        }
        Receive(_ends[0]);
    }

private:
    using Buffer = std::array<char, 64>;

    static void Send(int fd) {
        const Buffer buffer{};
        if (::send(fd, buffer.data(), buffer.size(), MSG_NOSIGNAL) < 0) {
            std::abort();
        }
    }
    static bool Receive(int fd) {
        Buffer buffer;
        return ::recv(fd, buffer.data(), buffer.size(), 0) > 0;
    }

    std::array<int, 2> _ends{};
    std::thread _thread;
};

/// What a program would do without the library.
class MapUnderMutex {
public:
    void Set(const std::string& group, const std::string& name, const std::string& value) {
        const std::lock_guard<std::mutex> lock(_mutex);
        _groups[group][name] = value;
    }
    std::string Get(const std::string& group, const std::string& name) {
        const std::lock_guard<std::mutex> lock(_mutex);
        const auto found = _groups.find(group);
        if (found == _groups.end()) {
            return {};
        }
        const auto value = found->second.find(name);
        return value == found->second.end() ? std::string() : value->second;
    }

private:
    std::mutex _mutex;
    std::map<std::string, std::map<std::string, std::string>> _groups;
};

double Median(std::vector<double>& seconds) {
    const auto middle = seconds.begin() + static_cast<std::ptrdiff_t>(seconds.size() / 2);
    std::nth_element(seconds.begin(), middle, seconds.end());
    return *middle;
}

template <class Action>
double SecondsOf(unsigned repetitions, Action action) {
    const auto start = Clock::now();
    for (unsigned i = 0; i < repetitions; ++i) {
        action();
    }
    return std::chrono::duration<double>(Clock::now() - start).count() / repetitions;
}

/// Short runs of `action` and of what it is compared with in turns, so that both see the same machine.
template <class Action, class Base>
void Compare(benchmark::State& state, const char* ratio, unsigned repetitions, Action action, Base base) {
    std::vector<double> own;
    std::vector<double> bare;
    for (auto _ : state) {
        bare.push_back(SecondsOf(repetitions, base));
        own.push_back(SecondsOf(repetitions, action));
        state.SetIterationTime(own.back() * repetitions);
    }
    state.counters["medianUs"] = Median(own) * 1e6;
    state.counters[ratio] = Median(own) / Median(bare);
}

IniFile Document(unsigned groups) {
    IniFile document;
    for (unsigned i = 0; i < groups; ++i) {
        document["Camera/" + std::to_string(i)]["name"] = "value " + std::to_string(i);
    }
    return document;
}

constexpr auto kSingle = ZumraSettingsClient::kLocalSingleThreadedPipe;
constexpr auto kMulti = ZumraSettingsClient::kLocalMultiThreadedPipe;

template <ZumraSettingsClient::OperationMode mode>
void PipeGetValue(benchmark::State& state) {
    ZumraSettingsClient client(mode, Document(100));
    RoundTrip bare(mode == kMulti);
    Compare(
        state, "xRoundTrip", 20, [&] { benchmark::DoNotOptimize(client.GetValue(kLocator)); },
        [&] { bare.Run(); });
}
BENCHMARK(PipeGetValue<kSingle>)->UseManualTime()->MinTime(0.2);
BENCHMARK(PipeGetValue<kMulti>)->UseManualTime()->MinTime(0.2);

/// One group of so many values of 32 bytes.
IniFile LargeGroup(unsigned values) {
    IniFile document;
    for (unsigned i = 0; i < values; ++i) {
        document["Camera/1"]["name " + std::to_string(i)] = std::string(32, 'x');
    }
    document["Camera/1"]["name"] = std::string(32, 'x');
    return document;
}

/// A value of a large group: its neighbours are not to be paid for.
template <ZumraSettingsClient::OperationMode mode>
void PipeGetValueOfMany(benchmark::State& state) {
    ZumraSettingsClient client(mode, LargeGroup(1000));
    RoundTrip bare(mode == kMulti);
    Compare(
        state, "xRoundTrip", 20, [&] { benchmark::DoNotOptimize(client.GetValue(kLocator)); },
        [&] { bare.Run(); });
}
BENCHMARK(PipeGetValueOfMany<kSingle>)->UseManualTime()->MinTime(0.2);
BENCHMARK(PipeGetValueOfMany<kMulti>)->UseManualTime()->MinTime(0.2);

template <ZumraSettingsClient::OperationMode mode>
void PipeSetValue(benchmark::State& state) {
    ZumraSettingsClient client(mode, Document(100));
    RoundTrip bare(mode == kMulti);
    unsigned i = 0;
    Compare(
        state, "xRoundTrip", 20, [&] { client.SetValue(kLocator, std::to_string(++i)); },
        [&] { bare.Run(); });
}
BENCHMARK(PipeSetValue<kSingle>)->UseManualTime()->MinTime(0.2);
BENCHMARK(PipeSetValue<kMulti>)->UseManualTime()->MinTime(0.2);

class LastValue final : public IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>&, const IniFile&) override {
        const std::lock_guard<std::mutex> lock(_mutex);
        ++_calls;
        _changed.notify_one();
    }
    void WaitForCall(unsigned call) {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait(lock, [&] { return _calls >= call; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    unsigned _calls = 0;
};

/// From `SetValue` until the callback has run.
void SetValueToCallback(benchmark::State& state) {
    ZumraSettingsClient client(kMulti, Document(100));
    RoundTrip bare(true);
    LastValue callback;
    client.Subscribe(&callback, "Camera/1");
    unsigned i = 0;
    const auto change = [&] {
        client.SetValue(kLocator, std::to_string(++i));
        callback.WaitForCall(i);
    };
    Compare(state, "xRoundTrip", 20, change, [&] { bare.Run(); });
    client.UnSubscribe(&callback);
}
BENCHMARK(SetValueToCallback)->UseManualTime()->MinTime(0.2);

/// A read while the client is subscribed to something, so that its reader thread stands by.
void PipeGetValueSubscribed(benchmark::State& state) {
    ZumraSettingsClient client(kMulti, Document(100));
    RoundTrip bare(true);
    LastValue callback;
    client.Subscribe(&callback, "Other");
    Compare(
        state, "xRoundTrip", 20, [&] { benchmark::DoNotOptimize(client.GetValue(kLocator)); },
        [&] { bare.Run(); });
    client.UnSubscribe(&callback);
}
BENCHMARK(PipeGetValueSubscribed)->UseManualTime()->MinTime(0.2);

void Fill(MapUnderMutex& map, unsigned groups) {
    for (const auto& [group, values] : Document(groups)) {
        for (const auto& [name, value] : values) {
            map.Set(group, name, value);
        }
    }
}

void LocalGetValue(benchmark::State& state) {
    const auto groups = static_cast<unsigned>(state.range(0));
    ZumraSettingsClient client(ZumraSettingsClient::kLocal, Document(groups));
    MapUnderMutex map;
    Fill(map, groups);
    Compare(
        state, "xMap", 1000, [&] { benchmark::DoNotOptimize(client.GetValue(kLocator)); },
        [&] { benchmark::DoNotOptimize(map.Get("Camera/1", "name")); });
}
BENCHMARK(LocalGetValue)->Arg(100)->Arg(100000)->UseManualTime()->MinTime(0.2);

void LocalSetValue(benchmark::State& state) {
    const auto groups = static_cast<unsigned>(state.range(0));
    ZumraSettingsClient client(ZumraSettingsClient::kLocal, Document(groups));
    MapUnderMutex map;
    Fill(map, groups);
    unsigned i = 0;
    unsigned j = 0;
    Compare(
        state, "xMap", 1000, [&] { client.SetValue(kLocator, std::to_string(++i)); },
        [&] { map.Set("Camera/1", "name", std::to_string(++j)); });
}
BENCHMARK(LocalSetValue)->Arg(100)->Arg(100000)->UseManualTime()->MinTime(0.2);

/// A life without use: what it costs to make a client and to let it go.
template <ZumraSettingsClient::OperationMode mode>
void Lifetime(benchmark::State& state) {
    for (auto _ : state) {
        ZumraSettingsClient client(mode);
        benchmark::DoNotOptimize(client);
    }
}
BENCHMARK(Lifetime<ZumraSettingsClient::kLocal>);
BENCHMARK(Lifetime<kSingle>);
BENCHMARK(Lifetime<kMulti>);

}  // namespace
