#include <gtest/gtest.h>

#include "client/Exchanges.h"
#include "client/ScriptedStream.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "support/Hostile.h"
#include "support/Thrown.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {
namespace {

using test::KnownExchange;
using test::ScriptedStream;
using test::Thrown;

constexpr std::size_t kWhole = 1000000;

std::unique_ptr<IBackend> Connect(const std::string& replies, std::size_t pieceSize = kWhole,
                                  std::string* sent = nullptr, std::size_t limit = kWhole) {
    ConnectionOptions options;
    options.threads = false;
    options.messageLimit = limit;
    return MakeConnectionBackend(std::make_unique<ScriptedStream>(replies, pieceSize, sent), options);
}

class KnownExchangeTests : public testing::TestWithParam<KnownExchange> {
protected:
    static std::string Error(const std::string& replies) {
        const auto backend = Connect(replies);
        return Thrown([&] { GetParam().call(*backend); });
    }
};

INSTANTIATE_TEST_SUITE_P(All, KnownExchangeTests, testing::ValuesIn(test::KnownExchanges()),
                         [](const auto& known) {
                             std::string name = known.param.name;
                             name.erase(std::remove_if(name.begin(), name.end(),
                                                       [](char c) { return c == ' ' || c == ','; }),
                                        name.end());
                             return name;
                         });

TEST_P(KnownExchangeTests, SendsTheRequestAndUnderstandsTheReply) {
    std::string sent;
    const auto backend = Connect(GetParam().reply, kWhole, &sent);
    EXPECT_EQ(GetParam().call(*backend), GetParam().result);
    EXPECT_EQ(sent, GetParam().request);
}

TEST_P(KnownExchangeTests, UnderstandsTheReplyByteByByte) {
    EXPECT_EQ(GetParam().call(*Connect(GetParam().reply, 1)), GetParam().result);
}

TEST_P(KnownExchangeTests, ReplyCutAtAnyByteIsALostConnection) {
    const std::string& reply = GetParam().reply;
    for (std::size_t size = 0; size < reply.size(); ++size) {
        EXPECT_EQ(Error(reply.substr(0, size)), "connection lost: the server closed it") << size;
    }
}

TEST_P(KnownExchangeTests, ReplyGarbledAtAnyByteNeverHangsOrCrashes) {
    const std::string& reply = GetParam().reply;
    std::size_t refused = 0;
    for (std::size_t at = 0; at < reply.size(); ++at) {
        for (const char byte : test::kHostileBytes) {
            std::string garbled = reply;
            garbled[at] = byte;
            const auto backend = Connect(garbled);
            try {
                GetParam().call(*backend);
            } catch (const osa::Exception& e) {
                ++refused;
                EXPECT_NE(std::string(e.what()), "");
            }
        }
    }
    // At least a reply whose first word is wrong is refused, whatever the byte.
    EXPECT_GE(refused, test::kHostileBytes.size() - 1);
}

TEST_P(KnownExchangeTests, WhatIsNeitherReplyNorErrorIsNamed) {
    const std::string error = Error("nonsense\n" + GetParam().reply);
    EXPECT_EQ(error.substr(0, 16), "protocol error: ");
    EXPECT_NE(error.find("' but got 'nonsense'"), std::string::npos) << error;
}

TEST_P(KnownExchangeTests, ErrorReplyIsThrownWithItsMessage) {
    EXPECT_EQ(Error("error\n\"two\\nlines\"\nsynced\ndata\n.\nsynced\n"), "two\nlines");
    EXPECT_EQ(Error("error\nlast words\n"), "last words") << "and the connection ended";
    EXPECT_EQ(Error("error\n\\0hidden\nsynced\ndata\n.\nsynced\n"), "\\0hidden");
    for (const std::string silence : {"", "\"\\0hidden\""}) {
        EXPECT_EQ(Error("error\n" + silence + "\nsynced\ndata\n.\nsynced\n"), "the server gave no reason");
    }
}

TEST_P(KnownExchangeTests, AfterALostConnectionEveryCallFailsAtOnce) {
    const auto backend = Connect("");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Thrown([&] { GetParam().call(*backend); }), "connection lost: the server closed it");
    }
}

TEST(ConnectionRepliesTests, ErrorOfASilentCommandLeavesTheConnectionUsable) {
    std::string sent;
    const auto backend = Connect("error\nno\nsynced\ndata\n[a]\nx = 1\n\n.\n", kWhole, &sent);
    EXPECT_EQ(Thrown([&] { backend->Erase(test::Groups({"a"})); }), "no");
    EXPECT_EQ(backend->GetValue({"a", "x"}), "1");
}

TEST(ConnectionRepliesTests, ErrorOfACommandWithReplyLeavesTheConnectionUsable) {
    const auto backend = Connect("error\nno\ndata\n[a]\nx = 1\n\n.\n");
    EXPECT_EQ(Thrown([&] { static_cast<void>(backend->GetValue({"a", "x"})); }), "no");
    EXPECT_EQ(backend->GetValue({"a", "x"}), "1");
}

TEST(ConnectionRepliesTests, SilentCommandHasOneErrorAtMost) {
    const auto backend = Connect("error\none\nerror\ntwo\nsynced\n");
    EXPECT_EQ(Thrown([&] { backend->Sync(); }), "one");
    EXPECT_EQ(Thrown([&] { backend->Erase({}); }), "two");
    const auto other = Connect("error\none\nerror\ntwo\n");
    EXPECT_EQ(Thrown([&] { other->Erase({}); }), "one");
    EXPECT_EQ(Thrown([&] { other->Sync(); }), "protocol error: expected 'synced' but got 'error'");
}

TEST(ConnectionRepliesTests, MessageOverTheLimitIsRefused) {
    const std::string reply = "data\n[a]\nx = " + std::string(10000, 'x') + "\n\n.\n";
    const auto call = [&](std::size_t limit) {
        const auto backend = Connect(reply + reply, 100, nullptr, limit);
        static_cast<void>(backend->GetValue({"a", "x"}));
        static_cast<void>(backend->GetValue({"a", "x"}));
    };
    EXPECT_NO_THROW(call(reply.size()));
    EXPECT_EQ(Thrown([&] { call(9000); }), "protocol error: message over its limit of 9000 bytes");
}

TEST(ConnectionRepliesTests, NotificationOfAGroupThatItDoesNotListIsRefused) {
    const auto backend = Connect("async change\na\n.\n[b]\n\n.\nsynced\n");
    EXPECT_EQ(Thrown([&] { backend->Sync(); }),
              "protocol error: group 'b' in a notification that does not list it");
}

TEST(ConnectionRepliesTests, TargetStaysAsItWasWhenReadingFails) {
    core::IniFile target = test::Document("[a]\nx=1\n");
    const core::IniFile before = target;
    const auto backend = Connect("data\n[a]\nx = 2\n\n[b]\n");
    EXPECT_THROW(backend->Get(test::Groups({"*"}), target), osa::Exception);
    EXPECT_EQ(target, before);
}

TEST(ConnectionRepliesTests, FailedSubscriptionIsForgotten) {
    std::string sent;
    const auto backend = Connect("error\nno\nsynced\nsynced\n", kWhole, &sent);
    test::NullCallback callback;
    EXPECT_EQ(Thrown([&] { backend->Subscribe(&callback, test::Groups({"a"})); }), "no");
    EXPECT_EQ(sent, "subscribe\na\n.\nsync\nunsubscribe\na\n.\nsync\n")
        << "another's call may have asked for it meanwhile";
    sent.clear();
    backend->UnSubscribe(&callback);
    EXPECT_EQ(sent, "") << "there is nothing to unsubscribe";
}

TEST(ConnectionRepliesTests, EntriesAreUnsubscribedWhenTheLastOneGoes) {
    std::string sent;
    const auto backend = Connect("synced\nsynced\nsynced\nsynced\n", kWhole, &sent);
    test::NullCallback one;
    test::NullCallback two;
    backend->Subscribe(&one, test::Groups({"a", "b*"}));
    backend->Subscribe(&two, test::Groups({"b*", "c"}));
    sent.clear();
    backend->UnSubscribe(&one);
    EXPECT_EQ(sent, "unsubscribe\na\n.\nsync\n");
    sent.clear();
    backend->UnSubscribe(&two);
    EXPECT_EQ(sent, "unsubscribe\nc\nb*\n.\nsync\n");
    sent.clear();
    backend->UnSubscribe(&two);
    EXPECT_EQ(sent, "");
}

TEST(ConnectionRepliesTests, UnSubscribeDoesNotThrowWhenTheConnectionIsLost) {
    const auto backend = Connect("synced\n");
    test::NullCallback callback;
    backend->Subscribe(&callback, test::Groups({"a"}));
    EXPECT_NO_THROW(backend->UnSubscribe(&callback));
    EXPECT_THROW(backend->Sync(), osa::Exception);
}

}  // namespace
}  // namespace zumra::settings::client
