#include "settings/client/InProcessServer.h"

#include <string>

#include "settings/client/InProcessBackend.h"
#include "settings/client/InProcessPump.h"
#include "settings/client/InProcessStore.h"
#include "settings/client/InProcessThread.h"
#include "settings/client/connection/ConnectionBackend.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

namespace {

ConnectionOptions Options(bool threads) {
    ConnectionOptions options;
    options.threads = threads;
    return options;
}

}  // namespace

InProcessServer::InProcessServer(const core::IniFile& defaults)
    : _store(std::make_shared<InProcessStore>(defaults)) {}

InProcessServer::~InProcessServer() = default;

std::unique_ptr<IBackend> InProcessServer::Connect(ZumraSettingsClient::OperationMode mode) const {
    switch (mode) {
        case ZumraSettingsClient::kLocal:
            return MakeInProcessBackend(_store);
        case ZumraSettingsClient::kLocalSingleThreadedPipe:
            return MakeConnectionBackend(MakeInProcessPump(_store), Options(false));
        case ZumraSettingsClient::kLocalMultiThreadedPipe:
            return MakeConnectionBackend(MakeInProcessThread(_store), Options(true));
        case ZumraSettingsClient::kRemote:
            break;
    }
    throw osa::Exception("unknown operation mode " + std::to_string(static_cast<int>(mode)));
}

}  // namespace zumra::settings::client
