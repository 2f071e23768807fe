#pragma once

#include <chrono>
#include <exception>
#include <functional>

namespace zumra::settings::server {

/// When a store saves.
struct SaveOptions {
    /// True: commits return at once and a thread of the store saves them. False: each commit is saved before
    /// its operation returns, and the other members but `outcome` mean nothing.
    bool deferred = false;
    /// How long the thread waits, from the first commit that is not saved, for further ones to save together
    /// with it. A flush, a test-and-merge or the end of the store does not wait for it.
    std::chrono::milliseconds delay{0};
    /// The pause after a failed save before the thread tries again by itself: doubled after each failure in a
    /// row, from the first up to the second.
    std::chrono::milliseconds retryAfter{1000};
    std::chrono::milliseconds retryAfterAtMost{60000};
    /// Called after each save that failed, with the reason, and with null after the first that succeeds
    /// again; on the thread that saved, under no lock. Must neither throw nor commit to the store nor flush
    /// it. May be empty.
    std::function<void(std::exception_ptr)> outcome;
};

}  // namespace zumra::settings::server
