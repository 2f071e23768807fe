#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "settings/server/SavedDocument.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/server/SaveOptions.h"

namespace zumra::settings::server {

/// Groups that changed since they were last taken, as they are at one revision.
struct UnsavedGroups {
    struct Item {
        common::SharedGroup current;
        common::SharedGroup byDefault;
        KeptDifference kept;
    };
    std::uint64_t revision = 0;
    std::set<std::string> names;
    std::vector<Item> items;  ///< one a name, in their order, when they were taken
};

/// Where a saver takes from what it saves. Called on any thread.
class ISaveSource {
public:
    virtual ~ISaveSource() = default;
    /// Moves what has to be saved into `taken`, whose revision and names are right even when this throws for
    /// want of memory.
    virtual void TakeUnsaved(UnsavedGroups& taken) = 0;
    /// Takes back what was not saved.
    virtual void PutBack(UnsavedGroups& taken) noexcept = 0;
};

/// Saves a store: makes one save of what several threads wait for, and with deferred saves does it on a
/// thread of its own, delayed so that further commits join, and again after a failure.
///
/// Thread-safety: every operation may be called from any thread. The persister is called by one thread at a
/// time and under no lock.
class Saver {
public:
    using Done = std::function<void(std::exception_ptr)>;

    Saver(ISaveSource& source, SavedDocument document, const SaveOptions& options);
    /// Saves what is not saved and calls everyone who waits.
    ~Saver();
    Saver(const Saver&) = delete;
    Saver& operator=(const Saver&) = delete;

    [[nodiscard]] bool Deferred() const noexcept { return _options.deferred; }
    [[nodiscard]] std::uint64_t SavedRevision() const;

    /// There is this revision to be saved.
    void Committed(std::uint64_t revision);
    /// Returns when this revision is saved; throws `zumra::osa::Exception` when the attempt to save it
    /// failed.
    void Save(std::uint64_t revision);
    /// See `SettingsManager::WhenSaved`.
    void WhenSaved(std::uint64_t revision, Done done);

private:
    using Clock = std::chrono::steady_clock;
    /// Null: none. The text is thrown anew on each thread that has to know.
    using Error = std::shared_ptr<const std::string>;
    struct Waiter {
        std::uint64_t revision;
        Done done;
    };
    /// How an attempt to save ended.
    struct Attempt {
        std::uint64_t revision = 0;
        Error error;
    };
    /// Whom to call, under no lock, after an attempt.
    struct Calls {
        std::list<Waiter> waiters;
        Error error;
        bool outcomeIsNews = false;
    };

    void Run();
    bool AwaitWork() ZUMRA_REQUIRES(_mutex);
    [[nodiscard]] bool IsDue() const ZUMRA_REQUIRES(_mutex);
    [[nodiscard]] Calls AttemptSave() noexcept ZUMRA_REQUIRES(_mutex);
    void Tell(Calls& calls) ZUMRA_EXCLUDES(_mutex);
    [[nodiscard]] Attempt WriteUnsaved() noexcept ZUMRA_EXCLUDES(_mutex);
    void UpdateDocument(UnsavedGroups& taken);
    void Schedule() ZUMRA_REQUIRES(_mutex);
    Error CurrentError() const noexcept;

    ISaveSource& _source;
    const SaveOptions _options;
    // Made while there is memory.
    const Error _outOfMemory = std::make_shared<const std::string>("cannot save: out of memory");
    const Error _unknownError = std::make_shared<const std::string>("unknown error");
    SavedDocument _document;  ///< used by the one who set `_busy`

    mutable osa::Mutex _mutex{"saver"};
    osa::Condition _changed;
    bool _busy ZUMRA_GUARDED_BY(_mutex) = false;
    bool _stopping ZUMRA_GUARDED_BY(_mutex) = false;
    bool _lastAttemptMade ZUMRA_GUARDED_BY(_mutex) = false;
    std::uint64_t _committed ZUMRA_GUARDED_BY(_mutex) = 0;
    std::uint64_t _saved ZUMRA_GUARDED_BY(_mutex) = 0;
    std::uint64_t _attempts ZUMRA_GUARDED_BY(_mutex) = 0;
    Attempt _last ZUMRA_GUARDED_BY(_mutex);
    std::list<Waiter> _waiters ZUMRA_GUARDED_BY(_mutex);
    std::optional<Clock::time_point> _due ZUMRA_GUARDED_BY(_mutex);
    std::chrono::milliseconds _pause ZUMRA_GUARDED_BY(_mutex){0};

    std::thread _thread;
};

}  // namespace zumra::settings::server
