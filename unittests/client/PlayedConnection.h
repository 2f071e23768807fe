#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <string>
#include <utility>

#include "settings/client/connection/FileDescriptor.h"

namespace zumra::test {

/// The server's end of a connection, played by the test.
class PlayedConnection {
public:
    explicit PlayedConnection(settings::client::FileDescriptor socket) : _socket(std::move(socket)) {}

    void Say(const std::string& text) {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t count = ::send(_socket.Get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
            ASSERT_GT(count, 0);
            sent += static_cast<std::size_t>(count);
        }
    }
    /// Reads up to and including this line of a request; returns what came before it.
    std::string AwaitLine(const std::string& line) {
        const std::string wanted = line + "\n";
        while (_received.find(wanted) == std::string::npos) {
            if (!Receive()) {
                ADD_FAILURE() << "the client went before it said '" << line << "', after '" << _received
                              << "'";
                return _received;
            }
        }
        const std::size_t at = _received.find(wanted);
        const std::string before = _received.substr(0, at);
        _received.erase(0, at + wanted.size());
        return before;
    }
    /// Answers every request that ends with a "sync", until the client goes.
    void AnswerSyncs() {
        const std::string end = "sync\n";
        do {
            for (std::size_t at = _received.find(end); at != std::string::npos; at = _received.find(end)) {
                _answered += _received.substr(0, at + end.size());
                _received.erase(0, at + end.size());
                Say("synced\n");
            }
        } while (Receive());
    }
    /// All requests that were answered so.
    [[nodiscard]] const std::string& Answered() const { return _answered; }
    /// Reads until the client has gone.
    void AwaitEnd() {
        while (Receive()) {
        }
    }
    void Answer(const std::string& line, const std::string& text) {
        AwaitLine(line);
        Say(text);
    }
    void Close() { _socket.Close(); }

private:
    bool Receive() {
        char buffer[4096];
        const ssize_t count = ::recv(_socket.Get(), buffer, sizeof buffer, 0);
        if (count > 0) {
            _received.append(buffer, static_cast<std::size_t>(count));
        }
        return count > 0;
    }

    settings::client::FileDescriptor _socket;
    std::string _received;
    std::string _answered;
};

}  // namespace zumra::test
