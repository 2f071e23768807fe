#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "settings/client/connection/BackgroundReader.h"
#include "settings/client/connection/Connection.h"

namespace zumra::settings::client {

/// A connection and, where there is to be one, the thread that reads it while no call does.
class LiveConnection {
public:
    LiveConnection(std::unique_ptr<IByteStream> stream, std::size_t messageLimit, INotificationSink& sink,
                   bool backgroundReader, std::function<void()> onEnd = {})
        : connection(std::move(stream), messageLimit, sink, std::move(onEnd)) {
        if (backgroundReader) {
            _reader.emplace(connection);
        }
    }

    Connection connection;

    enum class Has : std::uint8_t { kNotAsked, kNo, kYes };
    /// Whether the server can read single values.
    std::atomic<Has> singleValues{Has::kNotAsked};

private:
    std::optional<BackgroundReader> _reader;
};

}  // namespace zumra::settings::client
