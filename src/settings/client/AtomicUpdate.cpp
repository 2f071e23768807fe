#include "settings/client/AtomicUpdate.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFailuresWithoutPause = 2;
constexpr int kMaxDoublings = 4;
constexpr Clock::duration kLongestPause = std::chrono::milliseconds(100);

class RandomPause {
public:
    void AfterFailure(int failures, Clock::duration tryTook) {
        if (failures <= kFailuresWithoutPause) {
            return;
        }
        const int doublings = std::min(failures - kFailuresWithoutPause, kMaxDoublings);
        const Clock::duration longest = std::min(tryTook * (1 << doublings), kLongestPause);
        std::uniform_int_distribution<Clock::rep> choose(0, longest.count());
        std::this_thread::sleep_for(Clock::duration(choose(_random)));
    }

private:
    static std::uint_fast32_t Seed() {
        const auto thread = std::hash<std::thread::id>()(std::this_thread::get_id());
        return static_cast<std::uint_fast32_t>(thread) ^
               static_cast<std::uint_fast32_t>(Clock::now().time_since_epoch().count());
    }

    std::minstd_rand _random{Seed()};
};

}  // namespace

bool AtomicUpdate(IBackend& backend, const IBackend::Matcher& groups, const Decision& decide,
                  const std::string& what) {
    RandomPause pause;
    for (int failures = 0; failures < kAtomicUpdateAttempts;) {
        const Clock::time_point start = Clock::now();
        core::IniFile current;
        backend.Get(groups, current);
        const std::optional<core::IniFile> choice = decide(current);
        if (!choice) {
            return false;
        }
        if (backend.TestExactlyAndMerge(groups, current, *choice, nullptr)) {
            return true;
        }
        pause.AfterFailure(++failures, Clock::now() - start);
    }
    throw osa::Exception("Failed to " + what + ": the settings changed during each of " +
                         std::to_string(kAtomicUpdateAttempts) + " attempts");
}

}  // namespace zumra::settings::client
