#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "settings/common/ChangeRouter.h"

namespace zumra::settings::common::testing {

/// A change of groups that have no values.
inline std::shared_ptr<const Change> ChangeOf(std::uint64_t revision,
                                              const std::vector<std::string>& groups) {
    auto change = std::make_shared<Change>();
    change->revision = revision;
    for (const std::string& group : groups) {
        change->groups.emplace(group, SharedGroup(SharedGroup::Group()));
    }
    return change;
}

/// Keeps what it is told, and then does what the test wants. For use by one thread.
class RecordingListener : public IChangeListener {
public:
    struct Call {
        std::uint64_t revision;
        std::vector<std::string> covered;
        friend bool operator==(const Call&, const Call&) = default;
    };

    RecordingListener() = default;
    explicit RecordingListener(std::function<void(std::uint64_t)> then) : _then(std::move(then)) {}

    void OnChange(const std::shared_ptr<const Change>& change, const CoveredNames& covered) override {
        Call call{change->revision, {}};
        for (const std::string* name : covered) {
            call.covered.push_back(*name);
        }
        calls.push_back(std::move(call));
        if (_then) {
            _then(change->revision);
        }
    }

    [[nodiscard]] std::vector<std::uint64_t> Revisions() const {
        std::vector<std::uint64_t> revisions;
        for (const Call& call : calls) {
            revisions.push_back(call.revision);
        }
        return revisions;
    }

    std::vector<Call> calls;

private:
    std::function<void(std::uint64_t)> _then;
};

}  // namespace zumra::settings::common::testing
