#pragma once

#include <iosfwd>
#include <memory>

#include "zumra/Export.h"

namespace zumra::settings::server {

struct ServerEnv;

/// Serves one connection of the line protocol over two streams, on the caller's thread.
class ZUMRA_EXPORT ClientHandler {
public:
    ClientHandler(ServerEnv* env, std::istream* requests, std::ostream* responses);
    ~ClientHandler();
    ClientHandler(const ClientHandler&) = delete;
    ClientHandler& operator=(const ClientHandler&) = delete;

    /// Serves requests until the input ends. True when every byte of it was understood and every reply
    /// written.
    bool Run();

private:
    ServerEnv* _env;
    std::istream* _requests;
    std::ostream* _responses;
};

}  // namespace zumra::settings::server
