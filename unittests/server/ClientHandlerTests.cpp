#include "zumra/settings/server/ClientHandler.h"

#include <gtest/gtest.h>

#include <sstream>
#include <streambuf>

#include "server/SessionHarness.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::server::testing {
namespace {

/// An input that comes in pieces, the way a terminal or a pipe gives it: a reader that asks for more than a
/// piece holds would be stopped there, so this notes what was answered by then.
class Interactive : public std::streambuf {
public:
    /// With a `window` of 1 it never says that more than one byte is there.
    Interactive(std::vector<std::string> pieces, const std::ostringstream& answers, std::size_t window)
        : _pieces(std::move(pieces)), _answers(answers), _window(window) {}

    /// What was answered before each piece, and before the end.
    std::vector<std::string> answered;

protected:
    int_type underflow() override {
        if (_next == 0 || _at == _pieces[_next - 1].size()) {
            answered.push_back(_answers.str());
            if (_next == _pieces.size()) {
                return traits_type::eof();
            }
            ++_next;
            _at = 0;
        }
        std::string& piece = _pieces[_next - 1];
        const std::size_t size = std::min(_window, piece.size() - _at);
        setg(piece.data() + _at, piece.data() + _at, piece.data() + _at + size);
        _at += size;
        return traits_type::to_int_type(*gptr());
    }

private:
    std::vector<std::string> _pieces;
    const std::ostringstream& _answers;
    const std::size_t _window;
    std::size_t _next = 0;
    std::size_t _at = 0;
};

TEST(ClientHandlerTests, AnswersBeforeItAsksForMore) {
    for (const std::size_t window : {std::string::npos, std::size_t{1}}) {
        Server server;
        std::ostringstream responses;
        Interactive input({"merge\n[a]\nx=1\n.\nget\na\n.\n", "sy", "nc\nrevision\n"}, responses, window);
        std::istream requests(&input);
        EXPECT_TRUE(ClientHandler(&server.env, &requests, &responses).Run());
        const std::string got = "[a]\nx = 1\n\n";
        EXPECT_EQ(input.answered, (std::vector<std::string>{"", got, got, got + "synced\nrevision\n1\n"}))
            << window;
    }
}

TEST(ClientHandlerTests, AnInputWithoutABufferIsAnEmptyOne) {
    Server server;
    std::istream requests(nullptr);
    std::ostringstream responses;
    EXPECT_TRUE(ClientHandler(&server.env, &requests, &responses).Run());
    EXPECT_EQ(responses.str(), "");
}

TEST(ClientHandlerTests, SaysWhetherEverythingWasUnderstood) {
    const auto run = [](const std::string& text) {
        Server server;
        std::istringstream requests(text);
        std::ostringstream responses;
        return ClientHandler(&server.env, &requests, &responses).Run();
    };
    EXPECT_TRUE(run(""));
    EXPECT_TRUE(run("test-and-merge\n[a]\nx=1\n.\n.\n"));
    EXPECT_FALSE(run("nonsense\nsync\n"));
    EXPECT_FALSE(run("get\n*\n"));
    EXPECT_FALSE(run("serialize phparray\nmerge\nx"));
}

TEST(ClientHandlerTests, EndsWhenItsOutputFails) {
    Server server;
    std::istringstream requests("sync\nmerge\n[a]\nx=1\n.\n");
    std::ostringstream responses;
    responses.setstate(std::ios::badbit);
    EXPECT_FALSE(ClientHandler(&server.env, &requests, &responses).Run());
}

TEST(ClientHandlerTests, WaitsForSaves) {
    Server server("[a]\nx=1\n", nullptr, true);
    std::istringstream requests(
        "test-and-merge\n[a]\nx=1\n.\n[a]\nx=2\n.\nmerge\n[b]\ny=1\n.\nflush\nsync\n");
    std::ostringstream responses;
    EXPECT_TRUE(ClientHandler(&server.env, &requests, &responses).Run());
    EXPECT_EQ(responses.str(), "result\nok\nflushed\nsynced\n");
    EXPECT_EQ(server.persister.saved.SaveToString(), "[a]\nx = 2\n\n[b]\ny = 1\n\n");
}

TEST(ClientHandlerTests, GivesAllOfAVeryLongAnswer) {
    Server server;
    std::string request = "merge\n";
    for (int i = 0; i < 2000; ++i) {
        request += "[g" + std::to_string(i) + "]\nx=" + std::string(100, 'x') + "\n";
    }
    request += ".\n";
    for (int i = 0; i < 50; ++i) {
        request += "get\n*\n.\n";
    }
    std::istringstream requests(request);
    std::ostringstream responses;
    EXPECT_TRUE(ClientHandler(&server.env, &requests, &responses).Run());
    std::string expected;
    for (int i = 0; i < 50; ++i) {
        expected += server.Text();
    }
    EXPECT_EQ(responses.str().size(), expected.size());
    EXPECT_TRUE(responses.str() == expected);
}

}  // namespace
}  // namespace zumra::settings::server::testing
