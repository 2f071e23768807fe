#pragma once

#include <pthread.h>
#include <signal.h>

#include <system_error>
#include <thread>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

/// A thread that is waited for when its object goes. It takes no signals: they are the program's.
class JoiningThread {
public:
    JoiningThread() noexcept = default;
    /// Throws `zumra::osa::Exception` "cannot start a thread: <why>". What `body` throws ends the program.
    template <class Body>
    explicit JoiningThread(Body body) {
        sigset_t all;
        sigset_t before;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
        try {
            _thread = std::thread(std::move(body));
        } catch (const std::system_error& e) {
            ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
            throw osa::Exception(std::string("cannot start a thread: ") + e.what());
        } catch (...) {
            ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
            throw;
        }
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    JoiningThread(JoiningThread&&) noexcept = default;
    JoiningThread& operator=(JoiningThread&& other) noexcept {
        Join();
        _thread = std::move(other._thread);
        return *this;
    }
    ~JoiningThread() { Join(); }

    void Join() noexcept {
        if (_thread.joinable()) {
            _thread.join();
        }
    }

private:
    std::thread _thread;
};

}  // namespace zumra::settings::client
