#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "settings/server/SessionArguments.h"
#include "settings/server/SessionCommands.h"
#include "settings/server/SessionInput.h"

namespace zumra::settings::server {

/// Takes requests from the input. A request that is malformed or over a limit is read to its end and then
/// reported. One thread at a time.
class RequestParser {
public:
    enum class Outcome : std::uint8_t {
        kMore,     ///< more input is needed; at the end of the input: everything was used
        kRequest,  ///< `TakeRequest` has a request
        kError,    ///< `Message` says what is wrong with a request; its end was found
        kLost,     ///< the same, but where the next request begins is not known
    };

    /// The limits must outlive the parser.
    explicit RequestParser(const SessionLimits& limits);

    /// `format` is that of the connection at this moment. Does not throw: without memory for a request the
    /// request is in error.
    Outcome Parse(LineBuffer& in, Format format) noexcept;
    [[nodiscard]] Request TakeRequest();
    [[nodiscard]] const std::string& Message() const noexcept { return _failure; }

private:
    Outcome ParseCommandLine(LineBuffer& in);
    void BeginRequest(std::string_view line);
    void BeginArgument(Format format);
    bool CollectArgument(LineBuffer& in);
    bool CollectOnce(LineBuffer& in);
    Outcome EndRequest();
    [[nodiscard]] Argument CurrentArgument() const noexcept;
    void Fail(const char* reason) noexcept;

    const SessionLimits& _limits;
    Request _request;
    /// The current request's; null between requests.
    const CommandSpec* _spec = nullptr;
    std::size_t _argument = 0;
    bool _begun = false;  ///< the current argument was begun
    /// What is wrong with the current request, or with the one just reported.
    std::string _failure;
    bool _failed = false;
    ListCollector _list;
    DocumentCollector _document;
};

}  // namespace zumra::settings::server
