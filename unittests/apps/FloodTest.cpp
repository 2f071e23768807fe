// Floods of malformed requests, and what a thousand connections cost: the real daemon goes on serving others,
// and its memory stays within what its limits say.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "apps/DaemonProcess.h"
#include "support/Sanitized.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

constexpr std::size_t kFlooders = 64;
/// What one connection may make the daemon hold, by its options below, with some room for the daemon's own.
constexpr std::size_t kLine = 10000;
constexpr std::size_t kDocument = 50000;
constexpr std::size_t kOutput = 100000;
constexpr std::size_t kMebi = 1024 * 1024;

/// A sanitizer keeps what was freed and a shadow of everything: there the memory is told, not judged.
void ExpectMemoryBelow(std::size_t bound, std::size_t memory, const std::string& what) {
#ifdef ZUMRA_TEST_SANITIZED
    std::cout << "not judged under a sanitizer: " << what << ": " << memory << " bytes, bound " << bound
              << '\n';
#else
    EXPECT_LT(memory, bound) << what;
#endif
}

/// An endless stream of bytes of one kind.
using Source = std::string (*)(std::mt19937&);

std::string RandomBytes(std::mt19937& random) {
    std::string bytes(4000, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

/// Words of the protocol in an order that means nothing.
std::string RandomWords(std::mt19937& random) {
    static const std::vector<std::string> kWords{"merge",
                                                 "get",
                                                 "get delimited",
                                                 "overwrite",
                                                 ".",
                                                 "[g]",
                                                 "a=1",
                                                 "[",
                                                 "*",
                                                 "\"",
                                                 "\"\\x\"",
                                                 "sync",
                                                 "erase",
                                                 "restore",
                                                 "",
                                                 "subscribe",
                                                 "flush",
                                                 "erase-value",
                                                 "get-value",
                                                 "[a]b",
                                                 "=",
                                                 "serialize phparray",
                                                 "serialize ini",
                                                 "test-and-merge",
                                                 "a:1:{s:1:\"a\";a:0:{}}",
                                                 "unsubscribe",
                                                 "capabilities"};
    std::string text;
    while (text.size() < 4000) {
        text += kWords[random() % kWords.size()] + '\n';
    }
    return text;
}

std::string OneHugeLine(std::mt19937&) {
    return std::string(8000, 'x');
}

std::string NeverEndedDocument(std::mt19937& random) {
    std::string text = "merge\n";
    while (text.size() < 4000) {
        text += "[g" + std::to_string(random()) + "]\nname" + std::to_string(random()) + " = value\n";
    }
    return text;
}

std::string NeverEndedList(std::mt19937& random) {
    std::string text = "subscribe\n";
    while (text.size() < 4000) {
        text += "name" + std::to_string(random()) + "\n";
    }
    return text;
}

std::string HugePhpArray(std::mt19937&) {
    return "serialize phparray\nmerge\na:4000000000:{s:4000000000:\"" + std::string(4000, 'x');
}

constexpr std::array<Source, 6> kSources{RandomBytes,        RandomWords,    OneHugeLine,
                                         NeverEndedDocument, NeverEndedList, HugePhpArray};

/// A client that sends nonsense as fast as it is taken, and reads every other answer.
class Flooder {
public:
    Flooder(const std::string& socket, std::size_t number)
        : _socket(socket), _number(number), _source(kSources[number % kSources.size()]) {
        Connect();
    }

    /// Sends what the daemon takes now; connects again when it was cut off.
    void Push(std::mt19937& random) {
        if (_unsent.empty()) {
            _unsent = _source(random);
        }
        const ssize_t sent =
            ::send(_client->Descriptor(), _unsent.data(), _unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent > 0) {
            _sent += static_cast<std::size_t>(sent);
            _unsent.erase(0, static_cast<std::size_t>(sent));
        } else if (errno != EAGAIN && errno != EINTR) {
            ++_cutOff;
            Connect();
        }
        if (_number % 2 == 0) {
            Discard();
        }
    }

    [[nodiscard]] std::size_t Sent() const { return _sent; }
    [[nodiscard]] int TimesCutOff() const { return _cutOff; }

private:
    void Connect() {
        _client = std::make_unique<RawClient>(_socket);
        _unsent.clear();
    }
    void Discard() const {
        std::array<char, 65536> block{};
        while (::recv(_client->Descriptor(), block.data(), block.size(), MSG_DONTWAIT) > 0) {
        }
    }

    const std::string _socket;
    const std::size_t _number;
    const Source _source;
    std::unique_ptr<RawClient> _client;
    std::string _unsent;
    std::size_t _sent = 0;
    int _cutOff = 0;
};

class FloodTest : public ::testing::Test {
protected:
    void Start(std::vector<std::string> arguments) {
        rlimit limit{};
        ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
        limit.rlim_cur = limit.rlim_max;
        ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
        arguments.insert(arguments.begin(),
                         {"--socket", _socket, "--store", "memory:", "--log-level", "notice"});
        _daemon = std::make_unique<DaemonProcess>(arguments);
    }
    /// Memory that the daemon has resident, in bytes.
    [[nodiscard]] std::size_t Resident() const {
        std::ifstream status("/proc/" + std::to_string(_daemon->Process()) + "/status");
        std::string word;
        std::size_t kibi = 0;
        while (status >> word) {
            if (word == "VmRSS:" && status >> kibi) {
                return kibi * 1024;
            }
        }
        ADD_FAILURE() << "the daemon is gone: " << _daemon->Log();
        return 0;
    }
    /// What an honest client does.
    void Use(RawClient& client, int round) const {
        const std::string number = std::to_string(round);
        client.Send("merge\n[Honest]\nround=" + number + "\n.\nget delimited\nHonest\n.\n");
        const std::string expected = "data\n[Honest]\nround = " + number + "\n\n.\n";
        ASSERT_EQ(expected, client.ReceiveUntil("\n.\n")) << "round " << round;
    }

    test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("socket");
    std::unique_ptr<DaemonProcess> _daemon;
};

TEST_F(FloodTest, OfNonsenseLeavesOthersServedAndMemoryBounded) {
    Start({"--max-line", std::to_string(kLine), "--max-document", std::to_string(kDocument), "--max-output",
           std::to_string(kOutput), "--max-list", "1000"});
    ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    RawClient honest(_socket);
    Use(honest, 0);
    const std::size_t before = Resident();
    ASSERT_GT(before, 0u);

    std::mt19937 random(20240117);
    std::vector<std::unique_ptr<Flooder>> flooders;
    for (std::size_t number = 0; number < kFlooders; ++number) {
        flooders.push_back(std::make_unique<Flooder>(_socket, number));
    }
    std::size_t most = 0;
    for (int round = 1; round <= 600; ++round) {
        for (const auto& flooder : flooders) {
            flooder->Push(random);
        }
        _daemon->DrainLog();
        if (round % 10 == 0) {
            ASSERT_NO_FATAL_FAILURE(Use(honest, round));
            most = std::max(most, Resident());
        }
    }
    std::size_t sent = 0;
    int cutOff = 0;
    for (const auto& flooder : flooders) {
        sent += flooder->Sent();
        cutOff += flooder->TimesCutOff();
    }
    RecordProperty("megabytes", static_cast<int>(sent / kMebi));
    RecordProperty("grownKibibytes", static_cast<int>((most - std::min(most, before)) / 1024));
    EXPECT_GT(sent, 4 * kMebi) << "that was no flood";
    EXPECT_GT(cutOff, 0) << "whoever breaks the framing is to be cut off";
    // A document in memory takes several times its text.
    const std::size_t allowed = kFlooders * (kLine + 8 * kDocument + kOutput) + 8 * kMebi;
    ExpectMemoryBelow(before + allowed, most, "in a flood; before it: " + std::to_string(before));

    flooders.clear();
    ASSERT_NO_FATAL_FAILURE(Use(honest, -1));
    _daemon->Signal(SIGTERM);
    EXPECT_EQ(0, _daemon->Wait()) << _daemon->Log();
}

TEST_F(FloodTest, OfConnectionsCostsLittleMemoryEach) {
    constexpr std::size_t kConnections = 1000;
    /// A connection that was used and is subscribed, at rest.
    constexpr std::size_t kEach = 16 * 1024;
    Start({});
    ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    RawClient first(_socket);
    Use(first, 0);
    const std::size_t before = Resident();
    const std::string big(100000, 'x');
    const std::string reply = "data\n[Big]\ntext = " + big + "\n\n.\n";
    std::string received(reply.size(), '\0');
    std::vector<std::unique_ptr<RawClient>> clients;
    for (std::size_t number = 0; number < kConnections; ++number) {
        clients.push_back(std::make_unique<RawClient>(_socket));
        // Also a request that took much memory for a moment leaves nothing behind.
        clients.back()->Send("merge\n[Big]\ntext=" + big + "\n.\nget delimited\nBig\n.\n");
        ASSERT_EQ(static_cast<ssize_t>(reply.size()),
                  ::recv(clients.back()->Descriptor(), received.data(), received.size(), MSG_WAITALL));
        ASSERT_TRUE(received == reply);
        clients.back()->Send("subscribe\nGroup/" + std::to_string(number) + "\n.\nsync\n");
        ASSERT_EQ("synced\n", clients.back()->ReceiveUntil("\n"));
    }
    const std::size_t after = Resident();
    ASSERT_GT(after, before);
    const std::size_t each = (after - before) / kConnections;
    RecordProperty("bytesEach", static_cast<int>(each));
    ExpectMemoryBelow(kEach, each, "for each connection");
    ASSERT_NO_FATAL_FAILURE(Use(first, 1));
}

}  // namespace
}  // namespace zumra::settingsd
