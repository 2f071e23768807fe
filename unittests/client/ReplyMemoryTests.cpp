#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/Exchanges.h"
#include "client/ScriptedStream.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "support/FailingMemory.h"
#include "support/Thrown.h"

namespace zumra::settings::client {
namespace {

using test::FailingMemory;
using test::LiveAllocations;
using test::ScriptedStream;
using test::Thrown;

const std::string kOutOfMemory = "connection lost: out of memory";

/// Says its replies; memory fails from when the first is received.
class MemoryFailsOnReceiving final : public IByteStream {
public:
    MemoryFailsOnReceiving(const std::string& replies, std::size_t pieceSize, std::size_t failAt,
                           std::optional<FailingMemory>& memory)
        : _script(replies, pieceSize), _failAt(failAt), _memory(memory) {}

    std::size_t TrySend(std::string_view bytes) override { return _script.TrySend(bytes); }
    void Send(std::string_view bytes) override { _script.Send(bytes); }
    std::size_t Receive(char* buffer, std::size_t size) override {
        if (_failAt != 0) {
            _memory.emplace(_failAt);
            _failAt = 0;
        }
        return _script.Receive(buffer, size);
    }
    void Shutdown() noexcept override {}
    [[nodiscard]] bool CanReceive() const noexcept override { return false; }
    [[nodiscard]] int Descriptor() const noexcept override { return -1; }

private:
    ScriptedStream _script;
    std::size_t _failAt;
    std::optional<FailingMemory>& _memory;
};

std::unique_ptr<IBackend> Connect(std::unique_ptr<IByteStream> stream, bool ownServer = true) {
    ConnectionOptions options;
    options.threads = false;
    options.ownServer = ownServer;
    return MakeConnectionBackend(std::move(stream), options);
}

using Call = std::function<void(IBackend&)>;

/// Lets each allocation of a call fail in turn, from its first reply on. `check` is told whether the call
/// threw `std::bad_alloc`, and what else it threw. Returns how many allocations there were.
std::size_t FailEach(const std::string& replies, std::size_t pieceSize, const Call& call,
                     const std::function<void(IBackend&, bool noMemory, const std::string& error)>& check,
                     bool ownServer = true) {
    for (std::size_t failAt = 1;; ++failAt) {
        SCOPED_TRACE("pieces of " + std::to_string(pieceSize) + ", allocation " + std::to_string(failAt));
        const std::ptrdiff_t before = LiveAllocations();
        bool failed = false;
        {
            std::optional<FailingMemory> memory;
            const auto backend = Connect(
                std::make_unique<MemoryFailsOnReceiving>(replies, pieceSize, failAt, memory), ownServer);
            bool noMemory = false;
            std::string error;
            try {
                call(*backend);
            } catch (const std::bad_alloc&) {
                noMemory = true;
            } catch (const osa::Exception& e) {
                error.assign(e.what());
            }
            failed = memory->Failed();
            memory.reset();
            check(*backend, noMemory, error);
        }
        EXPECT_EQ(LiveAllocations(), before);
        if (!failed || testing::Test::HasFailure()) {
            return failAt - 1;
        }
    }
}

/// A call that can do without its reply throws `std::bad_alloc`, and the connection goes on.
std::size_t ExpectUsableAfterwards(const std::string& replies, const Call& call) {
    std::size_t fewest = 0;
    for (const std::size_t pieceSize : {1U, 2U, 3U, 5U, 7U, 11U, 16U, 17U, 31U, 100000U}) {
        bool complete = false;
        fewest = FailEach(replies + "synced\n", pieceSize, call,
                          [&](IBackend& backend, bool noMemory, const std::string& error) {
                              complete = !noMemory;
                              EXPECT_EQ(error.find("connection lost"), std::string::npos) << error;
                              EXPECT_EQ(error.find("protocol error"), std::string::npos) << error;
                              EXPECT_EQ(Thrown([&] { backend.Sync(); }), "nothing was thrown");
                          });
        EXPECT_TRUE(complete) << "the last call, for which there was memory";
    }
    return fewest;
}

TEST(ReplyMemoryTests, DocumentWithoutRoomIsPassedOver) {
    // The first line that finds no room does so right before the last of its characters.
    const std::string reply =
        "data\n[g]\nname = 89012345.\n[a group with quite a long name]\na name that is not short = " +
        std::string(200, '.') +
        "\nx = .\n\n[.]\n.. = 1\n\n[a third group, as long as the first]\nanother long name = " +
        std::string(50, '.') + "\n\n.\n";
    const std::size_t count = ExpectUsableAfterwards(reply, [](IBackend& backend) {
        core::IniFile document;
        backend.Get(test::Groups({"*"}), document);
        EXPECT_EQ(document.AllGroups().size(), 4U);
    });
    EXPECT_GT(count, 10U);
}

TEST(ReplyMemoryTests, DifferenceWithoutRoomIsPassedOver) {
    const std::string text = "a text that is too long to stand in a string itself";
    const std::string reply =
        "result\nrefused\n" + text + "\nname " + text + "\nexpected " + text + "\nactual .\n.\n";
    const core::IniFile none;
    const std::size_t count = ExpectUsableAfterwards(reply, [&](IBackend& backend) {
        ZumraSettingsClient::Difference why;
        EXPECT_FALSE(backend.TestAndMerge(none, none, &why));
        EXPECT_EQ(why.expected, text);
    });
    EXPECT_GT(count, 3U);
}

TEST(ReplyMemoryTests, CapabilitiesWithoutRoomArePassedOver) {
    const std::string replies =
        "capabilities\na capability of a later server, with a long "
        "name\nget-value\n.\nerror\nno\nsynced\nsynced\n";
    std::size_t refused = 0;
    const std::size_t count = FailEach(
        replies, 100000,
        [](IBackend& backend) {
            static_cast<void>(backend.GetValue({"a", "x"}));
        },
        [&](IBackend& backend, bool noMemory, const std::string& error) {
            EXPECT_EQ(error, noMemory ? "" : "no") << "only the server's own refusal";
            // When the capabilities found no memory, the refusal is the answer to this.
            const std::string next = Thrown([&] { backend.Sync(); });
            refused += next == "no" ? 1 : 0;
            EXPECT_TRUE(next == "no" || next == "nothing was thrown") << next;
        },
        false);
    EXPECT_GT(count, refused);
    EXPECT_GT(refused, 0U);
}

TEST(ReplyMemoryTests, ErrorWithoutRoomIsStillARefusal) {
    const std::string message = "a message that is too long to stand in a string itself";
    const auto expectRefusal = [&](const std::string& reply, const Call& operation) {
        const std::size_t count = ExpectUsableAfterwards(reply, [&](IBackend& backend) {
            try {
                operation(backend);
                ADD_FAILURE() << "taken for done";
            } catch (const osa::Exception& e) {
                EXPECT_EQ(e.what(), message);
            }
        });
        EXPECT_GT(count, 0U);
    };
    expectRefusal("error\n" + message + "\nsynced\n", [](IBackend& backend) { backend.Erase({}); });
    expectRefusal("error\n\"" + message + "\"\n", [](IBackend& backend) {
        core::IniFile document;
        backend.Get({}, document);
    });
}

TEST(ReplyMemoryTests, SubscriptionThatCannotBeKeptIsWithdrawn) {
    test::NullCallback callback;
    const std::size_t count = ExpectUsableAfterwards("synced\nsynced\n", [&](IBackend& backend) {
        backend.Subscribe(&callback, test::Groups({"a", "b*"}));
    });
    EXPECT_GT(count, 3U);
}

TEST(ReplyMemoryTests, NotificationWithoutRoomEndsTheConnection) {
    const std::string replies =
        "synced\nasync change\na name that is too long for the string\n.\n"
        "[a name that is too long for the string]\nx = 1\n\n.\nsynced\nsynced\n";
    test::NullCallback callback;
    bool ended = false;
    const auto subscribeAndSync = [&](IBackend& backend) {
        backend.Subscribe(&callback, test::Groups({"*"}));
        backend.Sync();
    };
    FailEach(replies, 100000, subscribeAndSync,
             [&](IBackend& backend, bool /*noMemory*/, const std::string& error) {
                 EXPECT_TRUE(error.empty() || error == kOutOfMemory) << error;
                 if (!error.empty()) {
                     ended = true;
                     EXPECT_EQ(Thrown([&] { backend.Sync(); }), kOutOfMemory) << "from then on";
                 }
             });
    EXPECT_TRUE(ended);
}

/// A stream whose other end runs within its calls, and has no memory.
class StreamWithoutMemory final : public IByteStream {
public:
    StreamWithoutMemory(bool sends, std::string said) : _sends(sends), _said(std::move(said)) {}

    std::size_t TrySend(std::string_view bytes) override { return _sends ? bytes.size() : Fail(); }
    void Send(std::string_view bytes) override { TrySend(bytes); }
    std::size_t Receive(char* buffer, std::size_t size) override {
        const std::size_t received = std::exchange(_said, {}).copy(buffer, size);
        return received != 0 || _ended ? received : Fail();
    }
    void Shutdown() noexcept override { _ended = true; }
    [[nodiscard]] bool CanReceive() const noexcept override { return false; }
    [[nodiscard]] int Descriptor() const noexcept override { return -1; }

private:
    [[noreturn]] static std::size_t Fail() { throw std::bad_alloc(); }

    const bool _sends;
    std::string _said;
    bool _ended = false;
};

TEST(ReplyMemoryTests, OtherEndWithoutMemoryIsALostConnection) {
    const std::vector<std::pair<bool, std::string>> streams = {
        {false, ""}, {true, ""}, {true, "data\n"}, {true, "data\n[a]\nx = 1\n"}};
    for (const auto& [sends, said] : streams) {
        const auto backend = Connect(std::make_unique<StreamWithoutMemory>(sends, said));
        for (int i = 0; i < 2; ++i) {
            core::IniFile document;
            EXPECT_EQ(Thrown([&] { backend->Get(test::Groups({"*"}), document); }), kOutOfMemory);
            EXPECT_EQ(Thrown([&] { backend->Erase({}); }), kOutOfMemory);
        }
    }
}

}  // namespace
}  // namespace zumra::settings::client
