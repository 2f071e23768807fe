#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace zumra::beside {

/// A server that is measured: started here, gone with this object at the latest, and also when this program
/// is killed.
class ServerProcess {
public:
    ServerProcess() = default;
    /// `words`: what is run, then its arguments. `name` is what the program is told to be called.
    ServerProcess(const std::string& program, const std::string& name,
                  const std::vector<std::string>& arguments);
    ServerProcess(ServerProcess&& other) noexcept;
    ServerProcess& operator=(ServerProcess&& other) noexcept;
    ~ServerProcess();

    /// Asks it to end and waits for that; throws `std::runtime_error` when it did not end with status 0.
    void Stop();
    /// Memory that it has resident, in KiB.
    [[nodiscard]] double ResidentKiB() const;

private:
    pid_t _process = -1;
};

/// A connected stream socket; absent (-1) while nobody serves there.
[[nodiscard]] int TryConnect(const std::string& path);
/// As `TryConnect`, again and again; throws `std::runtime_error` when nobody serves there within a minute.
[[nodiscard]] int ConnectSoon(const std::string& path);

}  // namespace zumra::beside
