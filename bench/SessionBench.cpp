// Requests through the session core in memory, and what the same work costs straight on the store in the same
// run: "xStore" is how many times as long it takes through the session (reading the request, writing the
// reply).
#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "settings/server/Session.h"
#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/SettingsManager.h"

namespace {

using namespace zumra;
using namespace zumra::settings;
using namespace zumra::settings::server;
using Clock = std::chrono::steady_clock;

std::string Name(int group) {
    return "Resources/DSP/Consumers/" + std::to_string(100000 + group);
}

/// A store of a thousand groups of ten values.
class Server {
public:
    Server() {
        core::IniFile document;
        for (int g = 0; g < 1000; ++g) {
            for (int v = 0; v < 10; ++v) {
                document[Name(g)]["MaxAllowed" + std::to_string(v)] = "value " + std::to_string(v);
            }
        }
        _manager.MergeSettings(document);
    }
    SettingsManager& Manager() { return _manager; }
    std::unique_ptr<Session> Connect() { return std::make_unique<Session>(_env, Session::Options{}); }

private:
    SettingsManager _manager;
    SerializationManager _serializers;
    ServerEnv _env{&_manager, &_serializers};
};

double Seconds(Clock::time_point since) {
    return std::chrono::duration<double>(Clock::now() - since).count();
}

std::string MergeRequest(int round) {
    return "merge\n[" + Name(round % 1000) + "]\nMaxAllowed5=value " + std::to_string(round) + "\n.\n";
}

/// Feeds the requests one by one and takes the output after each, beside `direct(round)` on the store.
template <class MakeRequest, class Direct>
void Compare(benchmark::State& state, Server& server, MakeRequest request, Direct direct) {
    constexpr int kBatch = 1000;
    const std::unique_ptr<Session> session = server.Connect();
    std::vector<std::string> requests;
    for (int i = 0; i < kBatch; ++i) {
        requests.push_back(request(i));
    }
    double through = 0;
    double straight = 0;
    int round = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        for (const std::string& each : requests) {
            session->Feed(each);
            benchmark::DoNotOptimize(session->TakeOutput());
        }
        const double elapsed = Seconds(start);
        through += elapsed;
        state.SetIterationTime(elapsed);
        start = Clock::now();
        for (int i = 0; i < kBatch; ++i) {
            direct(++round);
        }
        straight += Seconds(start);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["xStore"] = through / straight;
}

void BM_Sync(benchmark::State& state) {
    Server server;
    Compare(
        state, server, [](int) { return std::string("sync\n"); },
        [&server](int) { benchmark::DoNotOptimize(server.Manager().Revision()); });
}

void BM_GetGroupOfTen(benchmark::State& state) {
    Server server;
    Compare(
        state, server, [](int i) { return "get delimited\n" + Name(i) + "\n.\n"; },
        [&server](int i) {
            core::IniFile document;
            server.Manager().GetSettings(common::GroupNameMatcher(Name(i % 1000)), document);
            benchmark::DoNotOptimize(document);
        });
}

void BM_MergeOneValue(benchmark::State& state) {
    Server server;
    int session = 0;
    Compare(
        state, server, [&session](int) { return MergeRequest(++session); },
        [&server](int i) {
            core::IniFile document;
            document[Name(i % 1000)]["MaxAllowed5"] = "value " + std::to_string(i);
            server.Manager().MergeSettings(document);
        });
}

void BM_TestAndMergeOneValue(benchmark::State& state) {
    Server server;
    const auto request = [](int i) {
        const std::string group = "[" + Name(i % 1000) + "]\n";
        return "test-and-merge\n" + group + "MaxAllowed4=value 4\n.\n" + group + "MaxAllowed5=value " +
               std::to_string(i) + "\n.\n";
    };
    Compare(state, server, request, [&server](int i) {
        core::IniFile expected;
        expected[Name(i % 1000)]["MaxAllowed4"] = "value 4";
        core::IniFile document;
        document[Name(i % 1000)]["MaxAllowed5"] = "value " + std::to_string(i);
        server.Manager().TestAndMerge(expected, document);
    });
}

/// One change told to this many connections, each of which takes its notification; "nsPerReader" is the time
/// for each of them.
void BM_NotifyReaders(benchmark::State& state) {
    Server server;
    std::vector<std::unique_ptr<Session>> readers;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        readers.push_back(server.Connect());
        readers.back()->Feed("subscribe\nResources/*\n.\n");
    }
    const std::unique_ptr<Session> writer = server.Connect();
    int round = 0;
    const auto start = Clock::now();
    for (auto _ : state) {
        writer->Feed(MergeRequest(++round));
        for (const auto& reader : readers) {
            benchmark::DoNotOptimize(reader->TakeOutput());
        }
    }
    state.counters["nsPerReader"] =
        Seconds(start) * 1e9 / static_cast<double>(state.iterations() * state.range(0));
}

/// Many requests in one piece, as a script over a socket sends them.
void BM_PipelinedMerges(benchmark::State& state) {
    Server server;
    const std::unique_ptr<Session> session = server.Connect();
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::string requests;
        for (int i = 0; i < 1000; ++i) {
            requests += MergeRequest(++round);
        }
        state.ResumeTiming();
        session->Feed(requests);
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

BENCHMARK(BM_Sync)->UseManualTime();
BENCHMARK(BM_GetGroupOfTen)->UseManualTime();
BENCHMARK(BM_MergeOneValue)->UseManualTime();
BENCHMARK(BM_TestAndMergeOneValue)->UseManualTime();
BENCHMARK(BM_PipelinedMerges);
BENCHMARK(BM_NotifyReaders)->Arg(1)->Arg(100)->Arg(1000);

}  // namespace
