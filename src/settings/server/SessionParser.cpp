#include "settings/server/SessionParser.h"

#include <exception>
#include <new>
#include <utility>

#include "settings/server/Session.h"

namespace zumra::settings::server {
namespace {

constexpr const char* kOutOfMemory = "out of memory";

}  // namespace

RequestParser::RequestParser(const SessionLimits& limits)
    : _limits(limits), _list(limits), _document(limits) {}

RequestParser::Outcome RequestParser::Parse(LineBuffer& in, Format format) noexcept {
    while (_spec == nullptr) {
        const Outcome outcome = ParseCommandLine(in);
        if (outcome != Outcome::kRequest) {
            return outcome;
        }
    }
    while (CurrentArgument() != Argument::kNone) {
        if (!_begun) {
            BeginArgument(format);
        }
        if (!CollectArgument(in)) {
            if (_document.Lost()) {
                _spec = nullptr;
                return Outcome::kLost;
            }
            if (!in.Finished()) {
                return Outcome::kMore;
            }
            Fail("input ended within the request");
            return EndRequest();
        }
        ++_argument;
        _begun = false;
    }
    return EndRequest();
}

Request RequestParser::TakeRequest() {
    return std::exchange(_request, Request());
}

/// `kRequest`: a line was used, and when it was a command line the request has begun.
RequestParser::Outcome RequestParser::ParseCommandLine(LineBuffer& in) {
    const auto line = in.NextLine();
    if (!line) {
        return Outcome::kMore;
    }
    _failed = false;
    _failure.clear();
    try {
        if (line->tooLong) {
            _failure = OverLimit("line over its", _limits.line, "bytes");
            return Outcome::kError;
        }
        BeginRequest(line->text);
    } catch (const std::bad_alloc&) {
        _spec = nullptr;
        _failure = kOutOfMemory;
        return Outcome::kError;
    }
    return Outcome::kRequest;
}

void RequestParser::BeginRequest(std::string_view line) {
    if (line.empty()) {
        return;
    }
    const CommandSpec& spec = FindCommand(line);
    _request = Request();
    if (spec.command == Command::kSerialize) {
        _request.text = line.substr(spec.line.size() + 1);
    } else if (spec.command == Command::kOther) {
        _request.text = line;
    }
    _request.spec = &spec;
    _spec = &spec;
    _argument = 0;
    _begun = false;
}

Argument RequestParser::CurrentArgument() const noexcept {
    return _argument < _spec->arguments.size() ? _spec->arguments[_argument] : Argument::kNone;
}

void RequestParser::BeginArgument(Format format) {
    const Argument kind = CurrentArgument();
    _list.Begin(_failed);
    _document.Begin(format, kind == Argument::kLastSettings, _failed);
    _begun = true;
}

/// False when the argument's end is not there yet or cannot be found.
bool RequestParser::CollectArgument(LineBuffer& in) {
    for (;;) {
        try {
            return CollectOnce(in);
        } catch (const std::bad_alloc&) {
            Fail(nullptr);
        } catch (const std::exception& e) {
            Fail(e.what());
        }
        if (_document.Lost()) {
            return false;
        }
    }
}

bool RequestParser::CollectOnce(LineBuffer& in) {
    const Argument kind = CurrentArgument();
    if (kind == Argument::kGroups || kind == Argument::kLocators) {
        return _list.Collect(in, kind, _request);
    }
    if (!_document.Collect(in)) {
        return false;
    }
    (kind == Argument::kExpected ? _request.expected : _request.settings) = _document.Take();
    return true;
}

RequestParser::Outcome RequestParser::EndRequest() {
    _spec = nullptr;
    return _failed ? Outcome::kError : Outcome::kRequest;
}

/// Notes the first thing that is wrong (null: there is no memory); from then on only the request's end
/// matters.
void RequestParser::Fail(const char* reason) noexcept {
    _list.Skip();
    _document.Skip();
    _request = Request();
    if (_failed) {
        return;
    }
    _failed = true;
    _failure = kOutOfMemory;
    if (reason == nullptr) {
        return;
    }
    try {
        _failure = std::string(_spec->line).append(": ").append(reason);
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace zumra::settings::server
