#include "zumra-settingsd/Listener.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "support/TemporaryDirectory.h"
#include "zumra/osa/Exception.h"

namespace zumra::settingsd {
namespace {

/// A plain socket of somebody else, listening.
class ForeignSocket {
public:
    explicit ForeignSocket(const std::string& path) : _fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size());
        const void* generic = &address;
        EXPECT_EQ(0, ::bind(_fd, static_cast<const sockaddr*>(generic), sizeof address));
        EXPECT_EQ(0, ::listen(_fd, 1));
    }
    ~ForeignSocket() { ::close(_fd); }

private:
    int _fd;
};

std::string ReasonOf(const std::string& path, const std::string& group = "") {
    try {
        const Listener listener(path, 0600, group);
    } catch (const osa::Exception& error) {
        return error.what();
    }
    return "no exception";
}

bool Exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

class ListenerTest : public ::testing::Test {
protected:
    test::TemporaryDirectory _directory;
    const std::string _path = _directory.File("socket");
};

TEST_F(ListenerTest, MakesTheSocketAndRemovesIt) {
    {
        const Listener listener(_path, 0640, "");
        struct stat status {};
        ASSERT_EQ(0, ::stat(_path.c_str(), &status));
        EXPECT_EQ(0640u, status.st_mode & 0777u);
        EXPECT_TRUE(S_ISSOCK(status.st_mode));
        EXPECT_GE(listener.Descriptor(), 0);
    }
    EXPECT_FALSE(Exists(_path));
}

TEST_F(ListenerTest, KeepsASecondDaemonAway) {
    const Listener listener(_path, 0600, "");
    EXPECT_EQ("'" + _path + "' is in use by another process", ReasonOf(_path));
    EXPECT_TRUE(Exists(_path));
}

TEST_F(ListenerTest, TakesOverASocketThatWasLeftBehind) {
    { const ForeignSocket gone(_path); }
    ASSERT_TRUE(Exists(_path));
    EXPECT_EQ("no exception", ReasonOf(_path));
}

TEST_F(ListenerTest, LeavesWhatIsNotItsOwnAlone) {
    {
        const ForeignSocket served(_path);
        EXPECT_EQ("cannot listen on '" + _path + "': another process serves it", ReasonOf(_path));
        EXPECT_TRUE(Exists(_path));
    }
    const std::string file = _directory.Write("file", "precious");
    EXPECT_EQ("cannot listen on '" + file + "': it is there and is no socket", ReasonOf(file));
    EXPECT_TRUE(Exists(file));
}

TEST_F(ListenerTest, NamesWhatItCannotUse) {
    EXPECT_NE(std::string::npos, ReasonOf(_directory.File("none/socket")).find("No such file"));
    EXPECT_NE(std::string::npos, ReasonOf(_path, "no-group-of-this-name").find("no-group-of-this-name"));
    EXPECT_FALSE(Exists(_path));
    EXPECT_NE(std::string::npos, ReasonOf(_directory.File(std::string(120, 'x'))).find("1 to 107 bytes"));
}

}  // namespace
}  // namespace zumra::settingsd
