#pragma once

#include <memory>

#include "settings/client/IBackend.h"

namespace zumra::settings::client {

class InProcessStore;

/// Works straight on a store of this program, on the calling thread.
[[nodiscard]] std::unique_ptr<IBackend> MakeInProcessBackend(std::shared_ptr<InProcessStore> store);

}  // namespace zumra::settings::client
