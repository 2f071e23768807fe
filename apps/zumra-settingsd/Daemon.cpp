#include "zumra-settingsd/Daemon.h"

#include <sys/resource.h>

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <csignal>
#include <exception>
#include <memory>
#include <utility>

#include "storage/OpenStore.h"
#include "zumra-settingsd/HeldSignals.h"
#include "zumra-settingsd/Listener.h"
#include "zumra-settingsd/Paths.h"
#include "zumra-settingsd/Server.h"
#include "zumra-settingsd/ServiceManager.h"
#include "zumra-settingsd/Sources.h"
#include "zumra/osa/Exception.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/server/LoadPriorityIncludeFilter.h"
#include "zumra/settings/server/SaveOptions.h"
#include "zumra/settings/server/SerializationManager.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settingsd {

namespace {

/// How long a stopping daemon waits for clients to take their last replies.
constexpr std::chrono::milliseconds kStopPatience{2000};
/// Descriptors besides those of connections.
constexpr rlim_t kOtherDescriptors = 64;

std::string Text(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "unknown error";
    }
}

/// The store and everything that it needs, in the order in which they depend on each other.
class Settings {
public:
    Settings(const Options& options, std::unique_ptr<storage::ISettingsStore> store, Log& log)
        : _store(std::move(store)) {
        _persister = MakePersister({options.defaults, options.include}, *_store);
        if (options.restricted) {
            _restricted = std::make_unique<RestrictedFile>(*options.restricted);
        }
        settings::server::SaveOptions saving;
        saving.deferred = options.saveDelay.count() > 0;
        saving.delay = options.saveDelay;
        saving.outcome = [this, &log](const std::exception_ptr& error) { LogSave(error, log); };
        manager = std::make_unique<settings::server::SettingsManager>(_persister.get(), _restricted.get(),
                                                                      &_filter, saving);
        env.settingsManager = manager.get();
        env.serializationManager = &_formats;
    }

private:
    /// A reason is told once, however often clients ask for a save meanwhile.
    void LogSave(const std::exception_ptr& error, Log& log) {
        const std::string reason = error ? Text(error) : "";
        {
            osa::MutexLock lock(_mutex);
            if (std::exchange(_reason, reason) == reason) {
                return;
            }
        }
        if (error) {
            log.Error("settings could not be saved, going on in memory: " + reason);
        } else {
            log.Notice("settings are saved again");
        }
    }

    osa::Mutex _mutex{"reason"};
    std::string _reason ZUMRA_GUARDED_BY(_mutex);
    std::unique_ptr<storage::ISettingsStore> _store;
    std::unique_ptr<settings::server::ISettingsPersister> _persister;
    std::unique_ptr<RestrictedFile> _restricted;
    settings::server::LoadPriorityIncludeFilter _filter;
    settings::server::SerializationManager _formats;

public:
    std::unique_ptr<settings::server::SettingsManager> manager;
    settings::server::ServerEnv env;
};

std::unique_ptr<storage::ISettingsStore> OpenStore(const Options& options, Log& log) {
    MakeFolderOf(storage::PathOfStore(options.store));
    return storage::OpenStore(options.store, [&log](const std::string& text) { log.Error(text); });
}

void AllowDescriptors(std::size_t connections, Log& log) {
    const rlim_t wanted = connections + kOtherDescriptors;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) {
        return;
    }
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < wanted) {
        log.Warning("the system allows " + std::to_string(limit.rlim_cur) + " descriptors, too few for " +
                    std::to_string(connections) + " connections");
    }
}

std::unique_ptr<Listener> Listen(const Options& options) {
    const int inherited = ServiceManager::InheritedSocket();
    if (inherited >= 0) {
        return std::make_unique<Listener>(inherited);
    }
    MakeFolderOf(options.socket);
    return std::make_unique<Listener>(options.socket, options.socketMode, options.socketGroup);
}

class Daemon {
public:
    Daemon(const Options& options, Log& log)
        : _log(log),
          _listener(Listen(options)),
          _settings(options, OpenStore(options, log), log),
          _signals(_loop, SIGTERM, SIGINT, SIGHUP),
          _server(_loop, _settings.env, _listener->Descriptor(), {options.maxConnections, options.limits},
                  log) {}

    int Run(const std::string& place) {
        if (HeldSignals::StopIsPending()) {
            ServiceManager::Stopping();
            _log.Notice("stopping, asked to while loading");
            return Save();
        }
        WaitForSignal();
        HeldSignals::Release();
        ServiceManager::Ready();
        const auto statistics = _settings.manager->Statistics();
        _log.Notice("serving " + std::to_string(statistics.groups) + " groups on " + place);
        _loop.run();
        return Save();
    }

private:
    void WaitForSignal() {
        _signals.async_wait([this](const asio::error_code& error, int signal) {
            if (error) {
                return;
            }
            if (signal == SIGHUP) {
                Reload();
                WaitForSignal();
            } else {
                Stop();
            }
        });
    }

    void Reload() {
        ServiceManager::Reloading();
        try {
            _settings.manager->Reload();
            _log.Notice("defaults, includes and restrictions were read again");
        } catch (const std::exception& error) {
            _log.Error(std::string("nothing was read again, the old stays: ") + error.what());
        }
        ServiceManager::Ready();
    }

    void Stop() {
        ServiceManager::Stopping();
        _log.Notice("stopping");
        _server.Stop(kStopPatience, [this] { _loop.stop(); });
    }

    int Save() {
        try {
            _settings.manager->Flush();
        } catch (const std::exception& error) {
            _log.Error(std::string("stopped with settings that are not saved: ") + error.what());
            return 1;
        }
        _log.Notice("stopped; everything is saved");
        return 0;
    }

    Log& _log;
    asio::io_context _loop{1};
    std::unique_ptr<Listener> _listener;
    Settings _settings;
    asio::signal_set _signals;
    Server _server;
};

}  // namespace

int RunDaemon(const Options& options, Log& log) {
    AllowDescriptors(options.maxConnections, log);
    Daemon daemon(options, log);
    return daemon.Run(ServiceManager::InheritedSocket() >= 0 ? "the socket of the service manager"
                                                             : "'" + options.socket + "'");
}

void CheckSetup(const Options& options, Log& log) {
    CheckFolderOf(options.socket);
    Listener::Check(options.socket, options.socketGroup);
    CheckFolderOf(storage::PathOfStore(options.store));
    const Settings settings(options, storage::LookAtStore(options.store), log);
    log.Notice("everything is in order: " + std::to_string(settings.manager->Statistics().groups) +
               " groups");
}

}  // namespace zumra::settingsd
