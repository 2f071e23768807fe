// The daemon beside Redis: both on a Unix socket, each with its own client library, the same requests and
// sizes, in turns in one run. Prints one table; see docs/benchmarks.md.
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>

#include "Rows.h"

namespace zumra::beside {

namespace {

struct Programs {
    std::string daemon;
    std::string redis;
    std::string only;  ///< a part of the texts of the rows that are wanted
    Effort effort;
};

/// A folder that is gone with its object.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "zumra-beside-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder: " + std::string(std::strerror(errno)));
        }
        _path = name;
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(_path); }

    [[nodiscard]] std::string Part(const std::string& name) const {
        std::filesystem::create_directory(_path / name);
        return (_path / name).string();
    }

private:
    std::filesystem::path _path;
};

double Median(std::vector<double> samples) {
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

/// All contenders in turns, so that they see the same machine; their medians.
std::vector<double> Measure(const Row& row, const std::vector<Contender*>& contenders, const Effort& effort) {
    std::vector<Row::Sample> samples;
    for (Contender* contender : contenders) {
        if (!row.startsItself) {
            contender->Start(Contender::Keeping::kMemory);
        }
        samples.push_back(row.prepare(*contender, effort));
    }
    std::vector<std::vector<double>> taken(contenders.size());
    for (unsigned round = 0; round < (row.once ? 1 : effort.rounds); ++round) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            taken[i].push_back(samples[i]());
        }
    }
    samples.clear();
    if (!row.startsItself) {
        for (Contender* contender : contenders) {
            contender->Stop();
        }
    }
    std::vector<double> medians;
    std::transform(taken.begin(), taken.end(), std::back_inserter(medians), Median);
    return medians;
}

void Print(const std::string& text, const std::string& unit, const std::vector<double>& values) {
    const double best = *std::min_element(values.begin() + 1, values.end());
    std::printf("| %s, %s |", text.c_str(), unit.c_str());
    for (const double value : values) {
        std::printf(" %.*f |", value < 100 ? 1 : 0, value);
    }
    std::printf(" %.2f |\n", values.front() / best);
    std::fflush(stdout);
}

void Run(const Programs& programs) {
    const Folder folder;
    const auto ini = MakeZumra(folder.Part("ini"), programs.daemon, "ini");
    const auto sqlite = MakeZumra(folder.Part("sqlite"), programs.daemon, "sqlite");
    const auto keys = MakeRedis(folder.Part("keys"), programs.redis, RedisLayout::kKeys);
    const auto hashes = MakeRedis(folder.Part("hashes"), programs.redis, RedisLayout::kHashes);

    std::puts(
        "| less is better | zumra-settingsd | Redis, a key a setting | Redis, a hash a group "
        "| times the better Redis |");
    std::puts("|---|---|---|---|---|");
    const auto run = [&](const std::vector<Row>& rows, Contender& own, const std::string& suffix) {
        for (const Row& row : rows) {
            if (row.text.find(programs.only) != std::string::npos) {
                Print(row.text + suffix, row.unit,
                      Measure(row, {&own, keys.get(), hashes.get()}, programs.effort));
            }
        }
    };
    run(TimeRows(programs.effort), *ini, "");
    run(MemoryRows(programs.effort), *ini, "");
    // Last: what they leave in the folders would be read at any later start.
    run(StartRows(programs.effort), *ini, " (INI file)");
    run(StartRows(programs.effort), *sqlite, " (SQLite)");
}

void AllowDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

}  // namespace zumra::beside

int main(int count, char** arguments) {
    using namespace zumra::beside;
    Programs programs{ZUMRA_SETTINGSD_PROGRAM, ZUMRA_REDIS_PROGRAM, "", {}};
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "--brief") == 0) {
            programs.effort = Effort::Brief();
        } else if (std::strcmp(arguments[i], "--only") == 0 && i + 1 < count) {
            programs.only = arguments[++i];
        } else {
            std::fprintf(stderr, "usage: %s [--brief] [--only TEXT]\n", arguments[0]);
            return 2;
        }
    }
    try {
        AllowDescriptors();
        Run(programs);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", arguments[0], error.what());
        return 1;
    }
    return 0;
}
