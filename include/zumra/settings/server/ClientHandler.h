#pragma once

#include <iosfwd>

#include "zumra/Export.h"

namespace zumra::settings::server {

struct ServerEnv;

/// Serves one connection of the line protocol over two streams, on the caller's thread.
///
/// A request is served when its last line is there: the handler takes from the request stream what can be had
/// without waiting and waits only where nothing is there, and it flushes what it has to say before it waits.
/// So it works on streams that a person or a program answers to, as on ones that hold everything from the
/// start. It reads and writes whole blocks through the streams' buffers; formatting flags mean nothing.
///
/// Changes that others make to the store are told with the next request or at the end of the input, since no
/// one can wait for a stream and for a change at once. A program that must tell of them at once gives each
/// connection a transport of its own, as the daemon does.
///
/// Malformed requests are answered in the protocol. The limits of the connection are the defaults: a line of
/// 1 MiB, a document or list of 16 MiB, 65,536 entries of a list, 64 MiB of output that waits.
///
/// Thread-safety: one thread at a time; handlers on the same environment may run on different threads.
///
///     server::SettingsManager settings;
///     server::SerializationManager serialization;
///     server::ServerEnv env{&settings, &serialization};
///     server::ClientHandler handler(&env, &std::cin, &std::cout);
///     return handler.Run() ? 0 : 1;
class ZUMRA_EXPORT ClientHandler {
public:
    /// Owns nothing: environment, what it points to and the streams must outlive the handler. The one at the
    /// other end is the program itself, who may do everything.
    ClientHandler(ServerEnv* env, std::istream* requests, std::ostream* responses);
    ClientHandler(const ClientHandler&) = delete;
    ClientHandler& operator=(const ClientHandler&) = delete;

    /// Serves requests until the input ends, a request makes the place of the next one unknown, or the
    /// response stream fails. Blocks on the streams, and on a save where a reply has to wait for it. True
    /// when every byte of the input was understood and every reply written. Throws what the streams throw;
    /// on an output stream that does not, a failure gives false.
    bool Run();

private:
    ServerEnv* _env;
    std::istream* _requests;
    std::ostream* _responses;
};

}  // namespace zumra::settings::server
