#include "settings/client/CallbackListener.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "client/Callbacks.h"
#include "support/FailingMemory.h"

namespace zumra::settings::client {
namespace {

/// A callback on a thread that finds no memory for what it has to tell.
class CallbackListenerTests : public testing::Test {
protected:
    CallbackListenerTests() { _change->groups[_name]; }

    /// Tells of the change; as long as the thread has no memory, `meanwhile` goes on beside it.
    void Tell(std::size_t failAt, bool forGood, const std::function<void()>& meanwhile) {
        std::thread teller([&] {
            const test::FailingMemory memory(failAt, forGood);
            _listener->OnChange(_change, _covered);
            EXPECT_TRUE(memory.Failed());
        });
        meanwhile();
        teller.join();
    }

    const std::string _name = "a group whose name needs memory of its own";
    const std::shared_ptr<common::Change> _change = std::make_shared<common::Change>();
    const common::CoveredNames _covered = {&_name};
    test::Recorder _callback;
    MemoryWait _memory;
    const std::shared_ptr<CallbackErrors> _errors = std::make_shared<CallbackErrors>();
    const std::shared_ptr<CallbackListener> _listener =
        std::make_shared<CallbackListener>(&_callback, _errors, &_memory);
};

TEST_F(CallbackListenerTests, TellsOnceWhenThereIsMemoryAgain) {
    for (std::size_t failAt = 1; failAt <= 2; ++failAt) {
        Tell(failAt, false, [] {});
        EXPECT_EQ(_callback.Count(), failAt);
    }
}

TEST_F(CallbackListenerTests, WaitsForNoMemoryOnceItHasLeft) {
    Tell(1, true, [this] { _listener->Leave(); });
    EXPECT_EQ(_callback.Count(), 0U);
}

TEST_F(CallbackListenerTests, WaitsForNoMemoryAtTheEnd) {
    Tell(1, true, [this] { _memory.End(); });
    EXPECT_EQ(_callback.Count(), 0U);
}

}  // namespace
}  // namespace zumra::settings::client
