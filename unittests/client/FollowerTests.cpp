#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

#include "client/EveryMode.h"
#include "settings/client/IBackend.h"
#include "settings/client/InProcessServer.h"
#include "zumra/osa/Mutex.h"
#include "zumra/osa/Semaphore.h"

namespace zumra::settings::client {
namespace {

/// Stays in its first call for a while, unless it is told to go on.
class SlowFollower final : public IFollower {
public:
    void OnSnapshot(const common::GroupMap& /*groups*/, const IBackend::Matcher& /*scope*/) override {}
    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& /*covered*/) override {
        if (Last().empty()) {
            called.Release();
            goOn.Lock(100);
        }
        osa::MutexLock lock(_mutex);
        _last = change->groups.at("a")->at("x");
    }
    std::string Last() const {
        osa::MutexLock lock(_mutex);
        return _last;
    }

    osa::Semaphore called{"called", 1, 0};
    osa::Semaphore goOn{"goOn", 1, 0};

private:
    mutable osa::Mutex _mutex;
    std::string _last ZUMRA_GUARDED_BY(_mutex);
};

class FollowerTests : public EveryMode {
protected:
    InProcessServer _server;
    std::unique_ptr<IBackend> _backend = _server.Connect(GetParam());
};

ZUMRA_INSTANTIATE_IN_EVERY_MODE(FollowerTests);

TEST_P(FollowerTests, KnowOfAChangeWhenTheCallThatMadeItReturns) {
    SlowFollower follower;
    _backend->Follow(&follower, IBackend::Matcher("a"));
    auto first = std::async(std::launch::async, [this] { _backend->SetValue({"a", "x"}, "1"); });
    ASSERT_TRUE(follower.called.Lock(static_cast<unsigned>(kLongEnough.count())));
    _backend->SetValue({"a", "x"}, "2");
    const std::string known = follower.Last();
    follower.goOn.Release();
    first.get();
    EXPECT_EQ(known, "2");
    _backend->Unfollow(&follower);
}

TEST_P(FollowerTests, KnowOfEveryChangeAfterASync) {
    SlowFollower follower;
    _backend->Follow(&follower, IBackend::Matcher("a"));
    const std::unique_ptr<IBackend> other = _server.Connect(ZumraSettingsClient::kLocal);
    auto first = std::async(std::launch::async, [this] { _backend->SetValue({"a", "x"}, "1"); });
    ASSERT_TRUE(follower.called.Lock(static_cast<unsigned>(kLongEnough.count())));
    other->SetValue({"a", "x"}, "2");
    _backend->Sync();
    const std::string known = follower.Last();
    follower.goOn.Release();
    first.get();
    EXPECT_EQ(known, "2");
    _backend->Unfollow(&follower);
}

}  // namespace
}  // namespace zumra::settings::client
