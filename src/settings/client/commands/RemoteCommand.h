#pragma once

#include <iosfwd>
#include <string>

namespace zumra::settings::client {

/// One request of the line protocol as a client makes it: writes itself, and reads what is its own of the
/// reply.
///
/// The command runner calls `SendRequest` once, reads one line, compares it with `ExpectedResponse`, and then
/// calls `HandleResponse` once with the stream right after that line. A command without a reply of its own
/// has an empty expected line; its `HandleResponse` is not called.
///
/// Thread-safety: a command is used by one thread at a time; request and reply may be handled by different
/// ones.
class RemoteCommand {
public:
    virtual ~RemoteCommand();
    RemoteCommand(const RemoteCommand&) = delete;
    RemoteCommand& operator=(const RemoteCommand&) = delete;

    /// Writes the whole request.
    virtual void SendRequest(std::ostream& out) = 0;
    /// Reads the rest of the reply, exactly up to its end. What the result means is the command's own affair;
    /// a rest that is no valid reply throws `zumra::osa::Exception`; one that finds no memory throws
    /// `std::bad_alloc`, and where its end is known is read up to there before (`UnkeptReply`). This version
    /// reads nothing and is content.
    virtual bool HandleResponse(std::istream& in);

    /// The first line of a successful reply, without its line end; empty when there is no reply.
    [[nodiscard]] const std::string& ExpectedResponse() const noexcept { return _expectedResponse; }

protected:
    explicit RemoteCommand(std::string expectedResponse);

private:
    const std::string _expectedResponse;
};

}  // namespace zumra::settings::client
