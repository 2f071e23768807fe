// Two users with different rights at the real daemon. The second is a real one, which takes root; elsewhere
// the tests say that they are skipped.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/DaemonProcess.h"
#include "support/TemporaryDirectory.h"

namespace zumra::settingsd {
namespace {

/// "nobody" on Debian; no account is needed, for the daemon sees the number.
constexpr uid_t kOther = 65534;

/// A connection made as another user: what the daemon sees is who this program was when it connected.
class OtherUsersClient {
public:
    explicit OtherUsersClient(const std::string& socket) {
        if (::seteuid(kOther) != 0) {
            throw std::runtime_error("cannot become another user");
        }
        try {
            _client = std::make_unique<RawClient>(socket);
        } catch (...) {
            Back();
            throw;
        }
        Back();
    }
    RawClient* operator->() const { return _client.get(); }
    [[nodiscard]] const RawClient* Get() const { return _client.get(); }

private:
    static void Back() {
        if (::seteuid(0) != 0) {
            std::abort();
        }
    }
    std::unique_ptr<RawClient> _client;
};

class TwoUsersTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "only root can become a second user; EnforcesRestrictionsByWhoIsConnected in "
                            "DaemonTest tries the rights of one user";
        }
        ASSERT_EQ(0, ::chmod(_directory.Path().c_str(), 0755));
        const std::string defaults = _directory.Write(
            "defaults.ini", "[Open]\nx = 1\n[Secret]\nx = 1\n[Fixed]\nx = 1\n[Theirs]\nx = 1\n");
        const std::string restricted = _directory.Write(
            "restricted.ini", "[Secret]\nread = 0\nwrite = 0\n[Fixed]\nwrite = 0\n[Theirs]\nread = " +
                                  Other() + "\nwrite = " + Other() + "\n");
        _daemon = std::make_unique<DaemonProcess>(
            std::vector<std::string>{"--socket", _socket, "--socket-mode", "0666", "--store",
                                     "memory:", "--defaults", defaults, "--restricted", restricted});
        ASSERT_TRUE(_daemon->Serves()) << _daemon->Log();
    }
    static std::string Other() { return std::to_string(kOther); }

    test::TemporaryDirectory _directory;
    const std::string _socket = _directory.File("socket");
    std::unique_ptr<DaemonProcess> _daemon;
};

TEST_F(TwoUsersTest, ReadWhatEachMay) {
    RawClient root(_socket);
    root.Send("get delimited\n*\n.\n");
    EXPECT_EQ("data\n[Fixed]\nx = 1\n\n[Open]\nx = 1\n\n[Secret]\nx = 1\n\n.\n", root.ReceiveUntil("\n.\n"));
    const OtherUsersClient other(_socket);
    other->Send("get delimited\n*\n.\nget delimited\nSecret\n.\n");
    EXPECT_EQ("data\n[Fixed]\nx = 1\n\n[Open]\nx = 1\n\n[Theirs]\nx = 1\n\n.\n",
              other->ReceiveUntil("\n.\n"));
    EXPECT_EQ("data\n.\n", other->ReceiveUntil("\n.\n"));
    const std::string values = "get-value\n[Secret]x\n[Open]x\n[Open]y\n[Theirs]y\n.\n";
    root.Send(values);
    EXPECT_EQ("data\n[Open]\nx = 1\n\n[Secret]\nx = 1\n\n.\n", root.ReceiveUntil("\n.\n"));
    other->Send(values);
    EXPECT_EQ("data\n[Open]\nx = 1\n\n[Theirs]\n\n.\n", other->ReceiveUntil("\n.\n"));
}

TEST_F(TwoUsersTest, WriteWhatEachMay) {
    const OtherUsersClient other(_socket);
    other->Send("merge\n[Open]\nx=2\n[Fixed]\nx=2\n.\nsync\n");
    EXPECT_EQ("error\nnot allowed to write group 'Fixed'\nsynced\n", other->ReceiveUntil("synced\n"));
    other->Send("merge\n[Secret]\nx=2\n.\nerase-value\n[Fixed]x\n.\nsync\n");
    EXPECT_EQ(
        "error\nnot allowed to write group 'Secret'\nerror\nnot allowed to write group 'Fixed'\nsynced\n",
        other->ReceiveUntil("synced\n"));
    other->Send("merge\n[Open]\nx=3\n[Theirs]\nx=3\n.\nsync\n");
    EXPECT_EQ("synced\n", other->ReceiveUntil("synced\n"));
    RawClient root(_socket);
    root.Send("merge\n[Theirs]\nx=4\n.\nsync\n");
    EXPECT_EQ("error\nnot allowed to write group 'Theirs'\nsynced\n", root.ReceiveUntil("synced\n"));
    root.Send("merge\n[Fixed]\nx=5\n.\nget delimited\n*\n.\n");
    EXPECT_EQ("data\n[Fixed]\nx = 5\n\n[Open]\nx = 3\n\n[Secret]\nx = 1\n\n.\n", root.ReceiveUntil("\n.\n"));
    other->Send("get delimited\nTheirs\n.\n");
    EXPECT_EQ("data\n[Theirs]\nx = 3\n\n.\n", other->ReceiveUntil("\n.\n"));
}

TEST_F(TwoUsersTest, AreToldOfWhatEachMayRead) {
    RawClient root(_socket);
    const OtherUsersClient other(_socket);
    for (const RawClient* client : {static_cast<const RawClient*>(&root), other.Get()}) {
        client->Send("subscribe\n*\n.\nsync\n");
    }
    ASSERT_EQ("synced\n", root.ReceiveUntil("synced\n"));
    ASSERT_EQ("synced\n", other->ReceiveUntil("synced\n"));
    root.Send("merge\n[Secret]\nx=2\n.\nmerge\n[Secret]\nx=3\n[Open]\nx=3\n.\nsync\n");
    EXPECT_EQ(
        "async change\nSecret\n.\n[Secret]\nx = 2\n\n.\n"
        "async change\nOpen\nSecret\n.\n[Open]\nx = 3\n\n[Secret]\nx = 3\n\n.\nsynced\n",
        root.ReceiveUntil("synced\n"));
    other->Send("sync\nmerge\n[Theirs]\nx=4\n.\nsync\n");
    EXPECT_EQ("async change\nOpen\n.\n[Open]\nx = 3\n\n.\nsynced\n", other->ReceiveUntil("synced\n"));
    EXPECT_EQ("async change\nTheirs\n.\n[Theirs]\nx = 4\n\n.\nsynced\n", other->ReceiveUntil("synced\n"));
    root.Send("sync\n");
    EXPECT_EQ("synced\n", root.ReceiveUntil("synced\n"));
}

TEST_F(TwoUsersTest, SeeOfEachOtherOnlyThatTheyAreThere) {
    RawClient root(_socket);
    root.Send("subscribe\nSecret\n.\nsync\n");
    ASSERT_EQ("synced\n", root.ReceiveUntil("synced\n"));
    const OtherUsersClient other(_socket);
    other->Send("clients\n");
    const std::string seen = other->ReceiveUntil("\n.\n");
    EXPECT_NE(std::string::npos, seen.find("User = 0\n")) << seen;
    EXPECT_NE(std::string::npos, seen.find("User = " + Other() + "\n")) << seen;
    EXPECT_EQ(std::string::npos, seen.find("Secret")) << seen;
}

}  // namespace
}  // namespace zumra::settingsd
