// The store's single operations. Each benchmark measures in the same run what it is to be compared with and
// reports the ratio: a std::map of maps under a mutex that does the same ("xMap"), the same operation on a
// store of 100 settings ("x100Settings"), or on a store with one subscriber ("xOneSubscriber").
#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "zumra/settings/server/SettingsManager.h"

namespace {

using namespace zumra;
using core::IniFile;
using settings::common::GroupNameMatcher;
using settings::server::SettingsManager;
using Clock = std::chrono::steady_clock;

constexpr int kValuesOfAGroup = 10;
constexpr int kOperationsATime = 2000;

std::string GroupName(int group) {
    return "Resources/DSP/Consumers/" + std::to_string(1000000 + group);
}

std::string ValueName(int value) {
    return "MaxAllowed" + std::to_string(value);
}

IniFile DocumentOf(int settings) {
    IniFile document;
    for (int i = 0; i < settings; ++i) {
        document[GroupName(i / kValuesOfAGroup)][ValueName(i % kValuesOfAGroup)] =
            "value " + std::to_string(i);
    }
    return document;
}

/// What a program would write by itself: values in maps, under a mutex.
class PlainMap {
public:
    explicit PlainMap(const IniFile& content) : _groups(content.AllGroups()) {}

    void GetGroup(const std::string& group, IniFile& target) {
        const std::lock_guard lock(_mutex);
        const auto at = _groups.find(group);
        if (at != _groups.end()) {
            target[group] = at->second;
        }
    }
    std::optional<std::string> GetValue(const std::string& group, const std::string& name) {
        const std::lock_guard lock(_mutex);
        return _groups[group][name];
    }
    void SetValue(const std::string& group, const std::string& name, const std::string& value) {
        const std::lock_guard lock(_mutex);
        _groups[group][name] = value;
    }
    void Merge(const IniFile& document) {
        const std::lock_guard lock(_mutex);
        for (const auto& [group, values] : document) {
            auto& present = _groups[group];
            for (const auto& [name, value] : values) {
                present[name] = value;
            }
        }
    }

private:
    std::mutex _mutex;
    IniFile::Groups _groups;
};

/// Which values the operations of one round work on: scattered over the whole store, and made beforehand.
struct Target {
    std::string group;
    std::string name;
    std::string value;
    IniFile document;
};

std::vector<Target> Targets(int settings, unsigned seed) {
    std::mt19937 engine(seed);
    std::uniform_int_distribution<int> setting(0, settings - 1);
    std::vector<Target> targets(kOperationsATime);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        const int chosen = setting(engine);
        Target& target = targets[i];
        target.group = GroupName(chosen / kValuesOfAGroup);
        target.name = ValueName(chosen % kValuesOfAGroup);
        target.value = "changed " + std::to_string(engine());
        target.document[target.group][target.name] = target.value;
    }
    return targets;
}

template <class Operation>
double SecondsOf(const std::vector<Target>& targets, Operation operation) {
    const auto start = Clock::now();
    for (const Target& target : targets) {
        operation(target);
    }
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Runs rounds of `operation` on a store of this size, of `plain` on a map of the same content, and of
/// `operation` on a small store, in turns, so that all see the same machine.
template <class Operation, class Plain>
void Compare(benchmark::State& state, Operation operation, Plain plain) {
    const int settings = static_cast<int>(state.range(0));
    const IniFile content = DocumentOf(settings);
    SettingsManager store;
    store.MergeSettings(content);
    SettingsManager small;
    small.MergeSettings(DocumentOf(100));
    PlainMap map(content);
    double own = 0;
    double byMap = 0;
    double bySmall = 0;
    unsigned round = 0;
    for (auto _ : state) {
        // Two rounds of targets a time: the second goes to the one that was first before.
        const std::vector<Target> targets = Targets(settings, ++round);
        const std::vector<Target> smallTargets = Targets(100, round);
        const auto ownRound = [&] {
            return SecondsOf(targets, [&](const Target& t) { operation(store, t); });
        };
        const auto mapRound = [&] { return SecondsOf(targets, [&](const Target& t) { plain(map, t); }); };
        double seconds = 0;
        if (round % 2 == 0) {
            seconds = ownRound();
            byMap += mapRound();
        } else {
            byMap += mapRound();
            seconds = ownRound();
        }
        state.SetIterationTime(seconds);
        own += seconds;
        bySmall += SecondsOf(smallTargets, [&](const Target& t) { operation(small, t); });
    }
    state.SetItemsProcessed(state.iterations() * kOperationsATime);
    state.counters["xMap"] = own / byMap;
    state.counters["x100Settings"] = own / bySmall;
}

void ReadGroup(benchmark::State& state) {
    Compare(
        state,
        [](SettingsManager& store, const Target& target) {
            IniFile read;
            store.GetSettings(GroupNameMatcher(target.group), read);
            benchmark::DoNotOptimize(read);
        },
        [](PlainMap& map, const Target& target) {
            IniFile read;
            map.GetGroup(target.group, read);
            benchmark::DoNotOptimize(read);
        });
}

void ReadValue(benchmark::State& state) {
    Compare(
        state,
        [](SettingsManager& store, const Target& target) {
            benchmark::DoNotOptimize(store.GetValue(target.group, target.name));
        },
        [](PlainMap& map, const Target& target) {
            benchmark::DoNotOptimize(map.GetValue(target.group, target.name));
        });
}

void SetValue(benchmark::State& state) {
    Compare(
        state,
        [](SettingsManager& store, const Target& target) {
            store.SetValue(target.group, target.name, target.value);
        },
        [](PlainMap& map, const Target& target) { map.SetValue(target.group, target.name, target.value); });
}

void MergeOneValue(benchmark::State& state) {
    Compare(
        state, [](SettingsManager& store, const Target& target) { store.MergeSettings(target.document); },
        [](PlainMap& map, const Target& target) { map.Merge(target.document); });
}

class Subscriber : public settings::IChangeCallback {
public:
    void SettingsChanged(const std::set<std::string>&, const IniFile& data) override {
        benchmark::DoNotOptimize(&data);
        ++calls;
    }
    std::int64_t calls = 0;
};

/// A store with this many subscribers, each to a name and a prefix of its own.
struct SubscribedStore {
    explicit SubscribedStore(int count) : subscribers(static_cast<std::size_t>(count)) {
        store.MergeSettings(DocumentOf(100));
        for (int i = 0; i < count; ++i) {
            store.Subscribe(&subscribers[static_cast<std::size_t>(i)],
                            {GroupName(i), GroupName(i) + "/of this group/*"});
        }
    }
    void Commit() { store.SetValue(GroupName(0), ValueName(0), std::to_string(++commits)); }

    std::vector<Subscriber> subscribers;
    SettingsManager store;
    std::int64_t commits = 0;
};

void CommitWithSubscribers(benchmark::State& state) {
    SubscribedStore many(static_cast<int>(state.range(0)));
    SubscribedStore one(1);
    double own = 0;
    double byOne = 0;
    const auto secondsOf = [](SubscribedStore& store) {
        const auto start = Clock::now();
        for (int i = 0; i < kOperationsATime; ++i) {
            store.Commit();
        }
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    for (auto _ : state) {
        const double seconds = secondsOf(many);
        state.SetIterationTime(seconds);
        own += seconds;
        byOne += secondsOf(one);
    }
    if (!many.subscribers.empty() && many.subscribers[0].calls != many.commits) {
        state.SkipWithError("the one concerned was not told of each commit");
    }
    state.SetItemsProcessed(state.iterations() * kOperationsATime);
    state.counters["xOneSubscriber"] = own / byOne;
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("settings")
        ->Arg(100)
        ->Arg(10000)
        ->Arg(1000000)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

BENCHMARK(ReadGroup)->Apply(Sizes);
BENCHMARK(ReadValue)->Apply(Sizes);
BENCHMARK(SetValue)->Apply(Sizes);
BENCHMARK(MergeOneValue)->Apply(Sizes);
BENCHMARK(CommitWithSubscribers)
    ->ArgName("subscribers")
    ->Arg(0)
    ->Arg(1)
    ->Arg(10000)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

}  // namespace
