#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace zumra::settingsd {

/// The real daemon, started for a test and gone with it.
class DaemonProcess {
public:
    enum class Until { kStarted, kServes };

    /// Returns when the daemon was started; or when it has told that it serves, or has ended.
    explicit DaemonProcess(const std::vector<std::string>& arguments, Until until = Until::kServes);
    ~DaemonProcess();
    DaemonProcess(const DaemonProcess&) = delete;
    DaemonProcess& operator=(const DaemonProcess&) = delete;

    void Signal(int signal) const;
    /// Reads the log up to a line that contains `text`; false when the log ended before.
    bool WaitForLog(const std::string& text);
    /// Takes what was logged by now, so that a daemon that logs much is not held up.
    void DrainLog();
    /// Waits for the end: the exit status, or 1000 plus the signal that ended it.
    int Wait();
    [[nodiscard]] const std::string& Log() const { return _log; }
    [[nodiscard]] pid_t Process() const { return _process; }
    [[nodiscard]] bool Serves() const { return _serves; }

private:
    bool ReadLog();

    pid_t _process = -1;
    int _stderr = -1;
    std::string _log;
    std::size_t _searched = 0;
    bool _serves = false;
};

/// A client that speaks the protocol by hand.
class RawClient {
public:
    explicit RawClient(const std::string& socketPath);
    ~RawClient();
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void Send(const std::string& text) const;
    /// Says that nothing more will be sent.
    void EndInput() const;
    /// Reads until what was received since the last call ends in `end`; returns it, or what there was when
    /// the connection ended.
    std::string ReceiveUntil(const std::string& end);
    /// Everything until the daemon closes.
    std::string ReceiveAll();
    [[nodiscard]] int Descriptor() const { return _socket; }

private:
    int _socket;
};

}  // namespace zumra::settingsd
