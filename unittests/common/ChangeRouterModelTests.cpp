#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>
#include <vector>

#include "common/RecordingListener.h"
#include "settings/common/ChangeRouter.h"
#include "support/Hostile.h"

namespace zumra::settings::common {
namespace {

using testing::ChangeOf;
using testing::RecordingListener;
using Set = std::set<std::string>;

constexpr std::size_t kListeners = 4;

std::string RandomName(test::HostileTexts& random) {
    std::string name;
    for (std::size_t i = random.Number(4); i > 0; --i) {
        name += "ab*"[random.Number(3)];
    }
    return name;
}

Set RandomEntries(test::HostileTexts& random) {
    Set entries;
    for (std::size_t i = random.Number(4); i > 0; --i) {
        entries.insert(RandomName(random));
    }
    return entries;
}

Set EntriesOf(const GroupNameMatcher& groups) {
    Set entries(groups.Names().begin(), groups.Names().end());
    entries.insert(groups.Patterns().begin(), groups.Patterns().end());
    return entries;
}

std::size_t BytesOf(const Set& entries) {
    std::size_t bytes = 0;
    for (const std::string& entry : entries) {
        bytes += entry.size();
    }
    return bytes;
}

/// A router, and beside it what each listener asked for, as plain sets.
class RouterModel {
public:
    explicit RouterModel(unsigned seed) : _random(seed) {}

    void Step() {
        const std::size_t who = _random.Number(kListeners);
        const Set entries = RandomEntries(_random);
        switch (_random.Number(5)) {
            case 0:
            case 1:
                _router.Add(&_listeners[who], GroupNameMatcher(entries));
                _wanted[who].insert(entries.begin(), entries.end());
                break;
            case 2:
                _router.Remove(&_listeners[who], GroupNameMatcher(entries));
                for (const std::string& entry : entries) {
                    _wanted[who].erase(entry);
                }
                break;
            case 3:
                if (_random.Number(8) == 0) {
                    _router.Remove(&_listeners[who]);
                    _wanted[who].clear();
                }
                break;
            default:
                Tell();
        }
        Compare(who, entries);
    }

private:
    void Tell() {
        const std::string name = RandomName(_random);
        ChangeRouter::Deliver(_router.Queue(ChangeOf(1, {name})));
        bool concerns = false;
        for (std::size_t i = 0; i < kListeners; ++i) {
            const bool wants = GroupNameMatcher(_wanted[i]).Matches(name);
            concerns = concerns || wants;
            ASSERT_EQ(wants ? 1U : 0U, _listeners[i].calls.size()) << name;
            _listeners[i].calls.clear();
        }
        ASSERT_EQ(concerns, _router.Concerns(name)) << name;
    }

    void Compare(std::size_t who, const Set& entries) {
        ASSERT_EQ(_wanted[who], EntriesOf(_router.Groups(&_listeners[who])));
        ASSERT_EQ(_wanted[who].size(), _router.GroupsExtent(&_listeners[who]).entries);
        ASSERT_EQ(BytesOf(_wanted[who]), _router.GroupsExtent(&_listeners[who]).bytes);
        Set lacking = entries;
        for (const std::string& entry : _wanted[who]) {
            lacking.erase(entry);
        }
        ASSERT_EQ(lacking, EntriesOf(_router.Lacking(&_listeners[who], GroupNameMatcher(entries))));
    }

    test::HostileTexts _random;
    ChangeRouter _router;
    std::array<RecordingListener, kListeners> _listeners;
    std::array<Set, kListeners> _wanted;
};

TEST(ChangeRouterModelTest, RandomComingAndGoingIsAsTheSetsSay) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        RouterModel model(seed);
        for (int step = 0; step < 400; ++step) {
            model.Step();
            ASSERT_FALSE(::testing::Test::HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
    }
}

}  // namespace
}  // namespace zumra::settings::common
