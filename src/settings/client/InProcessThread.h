#pragma once

#include <memory>

#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::client {

class InProcessStore;

/// A connection to a store of this program whose server's end is run by a thread, which ends with the stream.
/// Throws `zumra::osa::Exception` for what the system refused.
[[nodiscard]] std::unique_ptr<IByteStream> MakeInProcessThread(std::shared_ptr<InProcessStore> store);

}  // namespace zumra::settings::client
