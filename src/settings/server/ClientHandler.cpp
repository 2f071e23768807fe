#include "zumra/settings/server/ClientHandler.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <string>
#include <utility>

#include "settings/server/Session.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::server {
namespace {

constexpr std::streamsize kBlock = 65536;

/// Lets the thread that runs a handler wait until its session can go on.
class Signal {
public:
    void Raise() {
        osa::MutexLock lock(_mutex);
        _raised = true;
        _changed.NotifyAll();
    }

    void Await() {
        osa::MutexLock lock(_mutex);
        while (!_raised) {
            _changed.Wait(_mutex);
        }
        _raised = false;
    }

private:
    osa::Mutex _mutex{"client handler"};
    osa::Condition _changed;
    bool _raised ZUMRA_GUARDED_BY(_mutex) = false;
};

/// The next bytes: as many as are there without waiting, at most a block; waits only for the first. Empty at
/// the end of the input.
std::string ReadAvailable(std::streambuf* in) {
    using Traits = std::char_traits<char>;
    if (in == nullptr || Traits::eq_int_type(in->sgetc(), Traits::eof())) {
        return {};
    }
    const std::streamsize there = std::clamp<std::streamsize>(in->in_avail(), 1, kBlock);
    std::string bytes(static_cast<std::size_t>(there), '\0');
    bytes.resize(static_cast<std::size_t>(in->sgetn(bytes.data(), there)));
    return bytes;
}

/// Sends what the session has and lets it go on, until it needs more input or has ended. False when the
/// output stream failed.
bool Serve(Session& session, Signal& signal, std::ostream& out) {
    for (;;) {
        const bool waiting = session.Waiting();
        const std::string output = session.TakeOutput();
        if (!output.empty()) {
            out.write(output.data(), static_cast<std::streamsize>(output.size()));
            out.flush();
        } else if (!waiting) {
            return true;
        } else {
            signal.Await();
        }
        if (!out) {
            return false;
        }
        session.Resume();
    }
}

}  // namespace

ClientHandler::ClientHandler(ServerEnv* env, std::istream* requests, std::ostream* responses)
    : _env(env), _requests(requests), _responses(responses) {}

bool ClientHandler::Run() {
    Signal signal;
    Session::Options options;
    options.wake = [&signal] { signal.Raise(); };
    Session session(*_env, std::move(options));
    bool written = true;
    while (written && !session.Ended()) {
        const std::string bytes = ReadAvailable(_requests->rdbuf());
        if (bytes.empty()) {
            session.Finish();
        } else {
            session.Feed(bytes);
        }
        written = Serve(session, signal, *_responses);
    }
    return written && session.InputUnderstood() && session.EndReason().empty();
}

}  // namespace zumra::settings::server
