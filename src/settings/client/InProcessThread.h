#pragma once

#include <memory>

#include "settings/client/InProcessSession.h"
#include "settings/client/connection/IByteStream.h"
#include "settings/client/connection/JoiningThread.h"

namespace zumra::settings::client {

/// A thread that runs the server's end of one connection to a store of this program until the peer closes it.
/// The destructor waits for that.
class InProcessThread {
public:
    /// Throws `zumra::osa::Exception` for what the system refused.
    InProcessThread(std::shared_ptr<InProcessStore> store, FileDescriptor socket);

private:
    void Run() noexcept;
    void Wait();

    WakeFlag _wake;
    InProcessSession _session;
    JoiningThread _thread;
};

/// A connection to a store of this program whose server's end is run by a thread, which ends with the stream.
/// Throws `zumra::osa::Exception` for what the system refused.
[[nodiscard]] std::unique_ptr<IByteStream> MakeInProcessThread(std::shared_ptr<InProcessStore> store);

}  // namespace zumra::settings::client
