#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "client/EveryMode.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::settings {

#ifdef __SANITIZE_THREAD__
inline constexpr int kRounds = 150;
#else
inline constexpr int kRounds = 500;
#endif

/// A client whose store threads of the test change while it is looked at.
class ConcurrentChanges : public EveryMode {
protected:
    ~ConcurrentChanges() override { JoinAll(); }

    template <class Function>
    void Start(Function function) {
        ++_running;
        _threads.emplace_back([this, function] {
            function();
            --_running;
        });
    }
    bool Running() const { return _running > 0; }
    void JoinAll() {
        for (auto& thread : _threads) {
            thread.join();
        }
        _threads.clear();
    }
    core::IniFile All() const {
        core::IniFile all;
        _client.GetSettings("*", all);
        return all;
    }

    /// Random changes; the groups "pair/1" and "pair/2" always change together.
    void ChangeAtRandom(unsigned seed) {
        std::mt19937 random(seed);
        for (int i = 0; i < kRounds; ++i) {
            const std::string group = "random/" + std::to_string(random() % 5);
            const std::string value = std::to_string(random() % 100);
            switch (random() % 6) {
                case 0:
                    _client.EraseGroups(random() % 10 == 0 ? "random/*" : group);
                    break;
                case 1:
                    _client.OverwriteSettings(group, OneSetting(group, "y", value));
                    break;
                case 2:
                    _client.EraseValue("[" + group + "]x");
                    break;
                case 3:
                    _client.SetValue("[" + group + "]x", value);
                    break;
                default:
                    core::IniFile pair = OneSetting("pair/1", "x", value);
                    pair["pair/2"]["x"] = value;
                    _client.MergeSettings(pair);
            }
        }
    }

    ZumraSettingsClient _client{GetParam()};

private:
    std::atomic<int> _running{0};
    std::vector<std::thread> _threads;
};

}  // namespace zumra::settings
