// Reading and writing documents of 1 MB and 10 MB. Each benchmark measures in the same run what its work
// costs at least and reports how many times that it takes: filling the maps of the same content ("xMapFill":
// no reader can be faster than building what it returns) and copying the bytes ("xMemcpy").
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "zumra/core/IniFile.h"
#include "zumra/settings/server/PhpArraySettingsSerializer.h"

namespace {

using namespace zumra;
using core::IniFile;
using settings::server::PhpArraySettingsSerializer;
using Clock = std::chrono::steady_clock;

/// A document whose INI text has about this many bytes, in groups of twenty values.
IniFile DocumentOf(std::size_t bytes) {
    IniFile document;
    std::size_t size = 0;
    for (unsigned g = 0; size < bytes; ++g) {
        const std::string group = "Resources/DSP/Consumers/" + std::to_string(1000000 + g);
        size += group.size() + 4;
        for (unsigned v = 0; v < 20; ++v) {
            const std::string name = "MaxAllowed" + std::to_string(100 + v);
            const std::string value = "value " + std::string(10 + (g + v) % 20, 'x');
            size += name.size() + value.size() + 4;
            document[group][name] = value;
        }
    }
    return document;
}

template <class Action>
double SecondsOf(Action action) {
    const auto start = Clock::now();
    action();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Fills maps with the content of the document, name by name, as a reader has to: in order, each text copied.
void FillMaps(const IniFile& document) {
    IniFile::Groups groups;
    for (const auto& [group, values] : document) {
        auto& filled = groups.emplace_hint(groups.end(), group, IniFile::Group())->second;
        for (const auto& [name, value] : values) {
            filled.emplace_hint(filled.end(), name, value);
        }
    }
    benchmark::DoNotOptimize(groups);
}

/// Runs `action` and, in turns with it, what it is compared with, so that both see the same machine.
template <class Action>
void Compare(benchmark::State& state, const IniFile& document, const std::string& text, Action action) {
    double own = 0;
    double mapFill = 0;
    double copy = 0;
    std::vector<char> target(text.size());
    for (auto _ : state) {
        const double seconds = SecondsOf(action);
        state.SetIterationTime(seconds);
        own += seconds;
        mapFill += SecondsOf([&] { FillMaps(document); });
        copy += SecondsOf([&] {
            std::memcpy(target.data(), text.data(), text.size());
            benchmark::DoNotOptimize(target.data());
            benchmark::ClobberMemory();
        });
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
    state.counters["xMapFill"] = own / mapFill;
    state.counters["xMemcpy"] = own / copy;
}

IniFile Document(const benchmark::State& state) {
    return DocumentOf(static_cast<std::size_t>(state.range(0)) << 20);
}

void ReadIni(benchmark::State& state) {
    const IniFile document = Document(state);
    const std::string text = document.SaveToString();
    Compare(state, document, text, [&text] {
        IniFile read;
        read.LoadFromString(text);
        benchmark::DoNotOptimize(read);
    });
}

void ReadIniFromStream(benchmark::State& state) {
    const IniFile document = Document(state);
    const std::string text = document.SaveToString();
    std::istringstream in(text);
    Compare(state, document, text, [&in] {
        in.clear();
        in.seekg(0);
        IniFile read;
        read.LoadFromStream(in);
        benchmark::DoNotOptimize(read);
    });
}

void WriteIni(benchmark::State& state) {
    const IniFile document = Document(state);
    const std::string text = document.SaveToString();
    Compare(state, document, text, [&document] { benchmark::DoNotOptimize(document.SaveToString()); });
}

std::string PhpArrayOf(const IniFile& document) {
    std::ostringstream out;
    PhpArraySettingsSerializer().Serialize(document, settings::common::GroupNameMatcher("*"), out);
    return std::move(out).str();
}

void ReadPhpArray(benchmark::State& state) {
    const IniFile document = Document(state);
    const std::string text = PhpArrayOf(document);
    std::istringstream in(text);
    Compare(state, document, text, [&in] {
        in.clear();
        in.seekg(0);
        IniFile read;
        PhpArraySettingsSerializer().Deserialize(in, read);
        benchmark::DoNotOptimize(read);
    });
}

void WritePhpArray(benchmark::State& state) {
    const IniFile document = Document(state);
    const std::string text = PhpArrayOf(document);
    Compare(state, document, text, [&document] { benchmark::DoNotOptimize(PhpArrayOf(document)); });
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("MB")->Arg(1)->Arg(10)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(ReadIni)->Apply(Sizes);
BENCHMARK(ReadIniFromStream)->Apply(Sizes);
BENCHMARK(WriteIni)->Apply(Sizes);
BENCHMARK(ReadPhpArray)->Apply(Sizes);
BENCHMARK(WritePhpArray)->Apply(Sizes);

}  // namespace
