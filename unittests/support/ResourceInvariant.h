#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>

#include "zumra/core/IniFile.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/IChangeCallback.h"

namespace zumra::test {

/// Looks at every change of the resources "R" and "S", in order, and keeps what it saw wrong.
class ResourceInvariant final : public settings::IChangeCallback {
public:
    explicit ResourceInvariant(int total) : _total(total) {}

    void SettingsChanged(const std::set<std::string>& changedGroups, const core::IniFile& data) override {
        osa::MutexLock lock(_mutex);
        for (const std::string& group : changedGroups) {
            _seen.EraseGroup(group);
        }
        _seen.MergeSettings(data);
        Check("Resources/R/Consumers/");
        Check("Resources/S/Consumers/");
        ++_changes;
        _changed.NotifyAll();
    }

    /// Returns when the last change of this state was looked at.
    void WaitUntilSeen(const core::IniFile& state) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        osa::MutexLock lock(_mutex);
        while (_seen != state && _changed.WaitUntil(_mutex, deadline)) {
        }
        EXPECT_EQ(_seen, state);
    }
    std::string Wrong() const {
        osa::MutexLock lock(_mutex);
        return _wrong;
    }
    int Changes() const {
        osa::MutexLock lock(_mutex);
        return _changes;
    }

private:
    void Check(const std::string& prefix) ZUMRA_REQUIRES(_mutex) {
        int used = 0;
        for (const auto& [name, values] : _seen) {
            if (name.compare(0, prefix.size(), prefix) == 0) {
                used += std::stoi(_seen.GetValue(name, "CurrentlyUsed"));
            }
        }
        if (used > _total) {
            _wrong =
                prefix + " uses " + std::to_string(used) + " after " + std::to_string(_changes) + " changes";
        }
    }

    const int _total;
    mutable osa::Mutex _mutex;
    osa::Condition _changed;
    core::IniFile _seen ZUMRA_GUARDED_BY(_mutex);
    std::string _wrong ZUMRA_GUARDED_BY(_mutex);
    int _changes ZUMRA_GUARDED_BY(_mutex) = 0;
};

}  // namespace zumra::test
