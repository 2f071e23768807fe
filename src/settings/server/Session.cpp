#include "settings/server/Session.h"

#include <atomic>
#include <new>
#include <utility>

#include "settings/server/SessionExecutor.h"
#include "settings/server/SessionInput.h"
#include "settings/server/SessionNotifier.h"
#include "settings/server/SessionOutput.h"
#include "settings/server/SessionParser.h"
#include "settings/server/SessionWaker.h"

namespace zumra::settings::server {

class Session::Impl {
public:
    Impl(const ServerEnv& env, Options options);
    ~Impl();

    void Feed(std::string_view bytes);
    void Finish();
    void Resume();

    const OutputQueue& Output() const { return _output; }
    std::string TakeOutput() { return _output.Take(); }
    bool Waiting() const { return _waiting.load(std::memory_order_acquire); }
    bool InputUnderstood() const { return _understood.load(std::memory_order_relaxed); }
    const SessionNotifier& Notifier() const { return _notifier; }

private:
    bool Keep(std::string_view bytes);
    void Serve();
    bool ServeOne();
    bool KeptBack();

    const Options _options;
    const std::shared_ptr<Waker> _waker;
    OutputQueue _output;
    SessionNotifier _notifier;
    RequestExecutor _executor;
    LineBuffer _input;
    RequestParser _parser;
    std::atomic<bool> _waiting{false};
    std::atomic<bool> _understood{true};
};

Session::Impl::Impl(const ServerEnv& env, Options options)
    : _options(std::move(options)),
      _waker(std::make_shared<Waker>(_options.wake)),
      _output(_options.limits.pendingOutput, _waker),
      _notifier(*env.settingsManager, _options.identity.get(), _options.limits, _output),
      _executor(env, _options, _output, _notifier, _waker),
      _input(_options.limits.line),
      _parser(_options.limits) {}

Session::Impl::~Impl() {
    _waker->Close();
}

void Session::Impl::Feed(std::string_view bytes) {
    const OutputQueue::Driving driving(_output);
    if (Keep(bytes)) {
        Serve();
    }
}

void Session::Impl::Finish() {
    const OutputQueue::Driving driving(_output);
    _input.Finish();
    Serve();
}

void Session::Impl::Resume() {
    if (Waiting()) {
        const OutputQueue::Driving driving(_output);
        Serve();
    }
}

/// Appends to the input; false when the connection is over.
bool Session::Impl::Keep(std::string_view bytes) {
    if (_output.Ended()) {
        return false;
    }
    try {
        if (Waiting() && _input.size() + bytes.size() > _options.limits.document) {
            _output.Abort(OverLimit("input queue over its", _options.limits.document, "bytes"));
            return false;
        }
        _input.Append(bytes);
    } catch (const std::bad_alloc&) {
        _output.Abort("out of memory");
        return false;
    }
    return true;
}

void Session::Impl::Serve() {
    bool more = true;
    while (more && !_output.Ended()) {
        if (KeptBack()) {
            _waiting.store(true, std::memory_order_release);
            return;
        }
        more = ServeOne();
    }
    if (_output.Ended()) {
        _input.Clear();
    }
    _waiting.store(false, std::memory_order_release);
}

/// Whether the next request has to be left alone for now.
bool Session::Impl::KeptBack() {
    if (_executor.Waiting() && !_executor.TryEndWait()) {
        return true;
    }
    return _output.Crowded() && (_input.size() > 0 || _input.Finished());
}

/// False when nothing more can be done with the input that is there.
bool Session::Impl::ServeOne() {
    switch (_parser.Parse(_input, _notifier.CurrentFormat())) {
        case RequestParser::Outcome::kMore:
            if (_input.Finished()) {
                _output.End("");
            }
            return false;
        case RequestParser::Outcome::kRequest:
            _executor.Execute(_parser.TakeRequest());
            if (_executor.MetUnknown()) {
                _understood.store(false, std::memory_order_relaxed);
            }
            return true;
        case RequestParser::Outcome::kError:
            _understood.store(false, std::memory_order_relaxed);
            _executor.ReplyError(_parser.Message());
            return true;
        case RequestParser::Outcome::kLost:
            _understood.store(false, std::memory_order_relaxed);
            _executor.ReplyError(_parser.Message());
            _output.End(_parser.Message());
            return false;
    }
    return false;
}

Session::Session(const ServerEnv& env, Options options)
    : _impl(std::make_unique<Impl>(env, std::move(options))) {}

Session::~Session() = default;

void Session::Feed(std::string_view bytes) {
    _impl->Feed(bytes);
}

void Session::Finish() {
    _impl->Finish();
}

void Session::Resume() {
    _impl->Resume();
}

bool Session::Waiting() const {
    return _impl->Waiting();
}

bool Session::HasOutput() const {
    return _impl->Output().HasOutput();
}

std::string Session::TakeOutput() {
    return _impl->TakeOutput();
}

bool Session::Ended() const {
    return _impl->Output().Ended();
}

std::string Session::EndReason() const {
    return _impl->Output().EndReason();
}

bool Session::InputUnderstood() const {
    return _impl->InputUnderstood();
}

std::size_t Session::PendingOutput() const {
    return _impl->Output().PendingBytes();
}

common::GroupNameMatcher Session::Subscriptions() const {
    return _impl->Notifier().Subscriptions();
}

}  // namespace zumra::settings::server
