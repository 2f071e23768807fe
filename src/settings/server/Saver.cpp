#include "settings/server/Saver.h"

#include <algorithm>
#include <new>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::server {

namespace {

std::exception_ptr AsException(const std::shared_ptr<const std::string>& error) noexcept {
    if (error == nullptr) {
        return nullptr;
    }
    try {
        return std::make_exception_ptr(osa::Exception(*error));
    } catch (...) {
        return std::current_exception();
    }
}

}  // namespace

Saver::Saver(ISaveSource& source, SavedDocument document, const SaveOptions& options)
    : _source(source), _options(options), _document(std::move(document)) {
    if (_options.deferred) {
        _thread = std::thread([this] { Run(); });
    }
}

Saver::~Saver() {
    if (_thread.joinable()) {
        {
            osa::MutexLock lock(_mutex);
            _stopping = true;
            _changed.NotifyAll();
        }
        _thread.join();
        return;
    }
    Calls calls;
    {
        osa::MutexLock lock(_mutex);
        if (_saved < _committed) {
            calls = AttemptSave();
        }
    }
    Tell(calls);
}

std::uint64_t Saver::SavedRevision() const {
    osa::MutexLock lock(_mutex);
    return _saved;
}

void Saver::Committed(std::uint64_t revision) {
    osa::MutexLock lock(_mutex);
    _committed = std::max(_committed, revision);
    if (_options.deferred && !_due && _saved < _committed) {
        _due = Clock::now() + _options.delay;
        _changed.NotifyAll();
    }
}

void Saver::Save(std::uint64_t revision) {
    for (;;) {
        Calls calls;
        Attempt attempt;
        {
            osa::MutexLock lock(_mutex);
            if (_saved >= revision) {
                return;
            }
            const std::uint64_t seen = _attempts;
            while (_busy && _attempts == seen) {
                _changed.Wait(_mutex);
            }
            if (_attempts == seen) {
                calls = AttemptSave();
            }
            attempt = _last;
        }
        Tell(calls);
        if (attempt.error && attempt.revision >= revision) {
            throw osa::Exception(*attempt.error);
        }
    }
}

void Saver::WhenSaved(std::uint64_t revision, Done done) {
    if (_options.deferred) {
        osa::MutexLock lock(_mutex);
        if (_saved < revision) {
            _waiters.push_back({revision, std::move(done)});
            _changed.NotifyAll();
            return;
        }
    } else {
        try {
            Save(revision);
        } catch (const osa::Exception&) {
            done(std::current_exception());
            return;
        }
    }
    done(nullptr);
}

/// Of the thread that saves what is deferred.
void Saver::Run() {
    for (;;) {
        Calls calls;
        {
            osa::MutexLock lock(_mutex);
            if (!AwaitWork()) {
                return;
            }
            calls = AttemptSave();
        }
        Tell(calls);
    }
}

/// False when there is nothing more to do, ever.
bool Saver::AwaitWork() {
    for (;;) {
        if (!_busy && _stopping) {
            return _saved < _committed && !std::exchange(_lastAttemptMade, true);
        }
        if (!_busy && IsDue()) {
            return true;
        }
        if (!_busy && _due) {
            _changed.WaitUntil(_mutex, *_due);
        } else {
            _changed.Wait(_mutex);
        }
    }
}

bool Saver::IsDue() const {
    return !_waiters.empty() || (_due && *_due <= Clock::now());
}

/// Requires that no attempt is being made. Releases the mutex while it writes.
Saver::Calls Saver::AttemptSave() noexcept {
    _busy = true;
    _mutex.Unlock();
    Attempt attempt = WriteUnsaved();
    _mutex.Lock();
    _busy = false;
    ++_attempts;
    Calls calls;
    calls.error = attempt.error;
    calls.outcomeIsNews = attempt.error != nullptr || _last.error != nullptr;
    _last = std::move(attempt);
    if (_last.error == nullptr) {
        _saved = std::max(_saved, _last.revision);
    }
    for (auto at = _waiters.begin(); at != _waiters.end();) {
        const auto waiter = at++;
        if (waiter->revision <= _last.revision) {
            calls.waiters.splice(calls.waiters.end(), _waiters, waiter);
        }
    }
    Schedule();
    _changed.NotifyAll();
    return calls;
}

void Saver::Schedule() {
    _due.reset();
    if (_last.error != nullptr) {
        _pause = std::min(std::max(_pause * 2, _options.retryAfter), _options.retryAfterAtMost);
        _due = Clock::now() + _pause;
        return;
    }
    _pause = {};
    if (_saved < _committed) {
        _due = Clock::now() + _options.delay;
    }
}

Saver::Attempt Saver::WriteUnsaved() noexcept {
    Attempt attempt;
    UnsavedGroups taken;
    try {
        UpdateDocument(taken);
    } catch (...) {
        attempt.error = CurrentError();
        _source.PutBack(taken);
    }
    attempt.revision = taken.revision;
    try {
        if (attempt.error == nullptr) {
            _document.Write();
        }
    } catch (...) {
        attempt.error = CurrentError();
    }
    return attempt;
}

void Saver::UpdateDocument(UnsavedGroups& taken) {
    _source.TakeUnsaved(taken);
    auto item = taken.items.begin();
    while (!taken.names.empty()) {
        const auto name = taken.names.begin();
        _document.Update(*name, DifferenceOf(item->current, item->byDefault, item->kept));
        *item = UnsavedGroups::Item();  // held no longer than needed: a writer would have to copy it
        ++item;
        taken.names.erase(name);  // the document knows it now
    }
}

/// Of the exception that is being handled.
Saver::Error Saver::CurrentError() const noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return _outOfMemory;
    } catch (const std::exception& exception) {
        try {
            return std::make_shared<const std::string>(exception.what());
        } catch (...) {
            return _outOfMemory;
        }
    } catch (...) {
        return _unknownError;
    }
}

void Saver::Tell(Calls& calls) {
    for (const Waiter& waiter : calls.waiters) {
        waiter.done(AsException(calls.error));
    }
    if (calls.outcomeIsNews && _options.outcome) {
        _options.outcome(AsException(calls.error));
    }
}

}  // namespace zumra::settings::server
