#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Contender.h"

namespace zumra::beside {

/// How much is done.
struct Effort {
    unsigned rounds = 21;      ///< of which each row tells the median
    unsigned requests = 2000;  ///< by one client in a round
    unsigned clients = 50;     ///< at the same time
    unsigned connections = 1000;
    unsigned saved = 100000;  ///< settings that are there at a start
    unsigned held = 1000000;  ///< settings in memory

    /// Enough to see that everything works.
    [[nodiscard]] static Effort Brief() { return {1, 20, 5, 50, 1000, 2000}; }
};

/// One thing that is measured of each server; less is better. `prepare` is called once for each server, which
/// has been started unless `startsItself`, and returns what takes one sample.
struct Row {
    using Sample = std::function<double()>;

    std::string text;
    std::string unit;
    std::function<Sample(Contender&, const Effort&)> prepare;
    bool startsItself = false;
    /// One sample is as good as many.
    bool once = false;
};

[[nodiscard]] std::vector<Row> TimeRows(const Effort& effort);
[[nodiscard]] std::vector<Row> StartRows(const Effort& effort);
[[nodiscard]] std::vector<Row> MemoryRows(const Effort& effort);

}  // namespace zumra::beside
