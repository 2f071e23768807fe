#include "zumra-settingsd/ServiceManager.h"

#ifdef ZUMRA_HAVE_SYSTEMD

#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <time.h>

#include <cstdint>
#include <string>

#include "zumra/osa/Exception.h"

namespace zumra::settingsd {

int ServiceManager::InheritedSocket() {
    const int count = ::sd_listen_fds(0);
    if (count <= 0) {
        return -1;
    }
    if (count > 1) {
        throw osa::Exception("expected one socket from the service manager, got " + std::to_string(count));
    }
    if (::sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, 1, nullptr, 0) <= 0) {
        throw osa::Exception("the socket from the service manager is no listening Unix stream socket");
    }
    return SD_LISTEN_FDS_START;
}

void ServiceManager::Ready() {
    ::sd_notify(0, "READY=1");
}

void ServiceManager::Reloading() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const auto microseconds =
        static_cast<std::uint64_t>(now.tv_sec) * 1000000u + static_cast<std::uint64_t>(now.tv_nsec) / 1000u;
    ::sd_notify(0, ("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds)).c_str());
}

void ServiceManager::Stopping() {
    ::sd_notify(0, "STOPPING=1");
}

}  // namespace zumra::settingsd

#else

namespace zumra::settingsd {

int ServiceManager::InheritedSocket() {
    return -1;
}
void ServiceManager::Ready() {}
void ServiceManager::Reloading() {}
void ServiceManager::Stopping() {}

}  // namespace zumra::settingsd

#endif
