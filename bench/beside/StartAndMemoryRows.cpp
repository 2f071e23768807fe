#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "Rows.h"

namespace zumra::beside {

namespace {

constexpr double kMebi = 1024;

void CheckFilled(IAccess& access, unsigned count) {
    for (const unsigned setting : {0u, count / 2, count - 1}) {
        if (access.Get(setting) != FilledValue(setting)) {
            throw std::runtime_error("setting " + std::to_string(setting) + " was not kept");
        }
    }
}

Row Start(unsigned settings) {
    Row row;
    row.text = "start with " + std::to_string(settings) + " settings until the first answer";
    row.unit = "ms";
    row.startsItself = true;
    row.prepare = [settings](Contender& contender, const Effort&) -> Row::Sample {
        contender.Start(Contender::Keeping::kDisk);
        contender.Connect()->Fill(settings);
        contender.Stop();
        return [&contender, settings] {
            const auto start = std::chrono::steady_clock::now();
            contender.Start(Contender::Keeping::kDisk);
            const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
            CheckFilled(*contender.Connect(), settings);
            contender.Stop();
            return time.count();
        };
    };
    return row;
}

Row Memory(const std::string& text, std::function<Row::Sample(Contender&, const Effort&)> prepare) {
    Row row;
    row.text = "memory, " + text;
    row.unit = "MiB";
    row.once = true;
    row.prepare = std::move(prepare);
    return row;
}

Row Idle() {
    return Memory("idle", [](Contender& contender, const Effort&) -> Row::Sample {
        return [&contender] { return contender.ResidentKiB() / kMebi; };
    });
}

Row Connections(unsigned count) {
    return Memory("with " + std::to_string(count) + " connections that were used",
                  [count](Contender& contender, const Effort&) -> Row::Sample {
                      return [&contender, count] {
                          std::vector<std::unique_ptr<IAccess>> clients;
                          for (unsigned client = 0; client < count; ++client) {
                              clients.push_back(contender.Connect());
                              clients.back()->Set(client % kPerGroup, FilledValue(client));
                          }
                          return contender.ResidentKiB() / kMebi;
                      };
                  });
}

Row Settings(unsigned count) {
    return Memory("with " + std::to_string(count) + " settings",
                  [count](Contender& contender, const Effort&) -> Row::Sample {
                      const auto access = contender.Connect();
                      access->Fill(count);
                      CheckFilled(*access, count);
                      return [&contender] { return contender.ResidentKiB() / kMebi; };
                  });
}

}  // namespace

std::vector<Row> StartRows(const Effort& effort) {
    return {Start(effort.saved)};
}

std::vector<Row> MemoryRows(const Effort& effort) {
    return {Idle(), Connections(effort.connections), Settings(effort.held)};
}

}  // namespace zumra::beside
