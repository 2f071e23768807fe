#include "settings/client/connection/BackgroundReader.h"

#include <sys/epoll.h>

#include <cerrno>

namespace zumra::settings::client {

namespace {

FileDescriptor MakeEpoll() {
    FileDescriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    if (epoll.Get() < 0) {
        throw osa::Exception(SystemErrorText("cannot make an epoll descriptor", errno));
    }
    return epoll;
}

void AddTo(const FileDescriptor& epoll, int fd, unsigned events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = fd;
    if (::epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        throw osa::Exception(SystemErrorText("cannot watch a descriptor", errno));
    }
}

}  // namespace

BackgroundReader::BackgroundReader(Connection& connection) : _connection(connection), _epoll(MakeEpoll()) {
    AddTo(_epoll, _wake.Descriptor(), EPOLLIN);
    AddTo(_epoll, _connection.Stream().Descriptor(), EPOLLONESHOT);
    _thread = JoiningThread([this] { Run(); });
    _connection.SetIdleReader(this);
}

BackgroundReader::~BackgroundReader() {
    _connection.SetIdleReader(nullptr);
    _stop = true;
    _connection.Shutdown();
    _wake.Raise();
}

void BackgroundReader::Arm(bool now) noexcept {
    if (now) {
        _wake.Raise();
    } else {
        Watch(EPOLLIN | EPOLLONESHOT);
    }
}

void BackgroundReader::Disarm() noexcept {
    Watch(EPOLLONESHOT);
}

void BackgroundReader::Watch(unsigned events) noexcept {
    epoll_event event{};
    event.events = events;
    event.data.fd = _connection.Stream().Descriptor();
    ::epoll_ctl(_epoll.Get(), EPOLL_CTL_MOD, event.data.fd, &event);
}

void BackgroundReader::Run() {
    while (!_stop) {
        epoll_event event{};
        const int count = ::epoll_wait(_epoll.Get(), &event, 1, -1);
        if (count == 1 && event.data.fd == _wake.Descriptor()) {
            _wake.Lower();
        }
        if (count == 1 && !_stop) {
            _connection.ReadIdle((event.events & (EPOLLHUP | EPOLLERR)) != 0);
        }
    }
}

}  // namespace zumra::settings::client
