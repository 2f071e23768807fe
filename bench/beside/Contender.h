#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ServerProcess.h"

namespace zumra::beside {

/// A program's access to one server through that server's own client library: one connection, used by one
/// thread at a time. What the server refuses is thrown as `std::exception`.
class IAccess {
public:
    virtual ~IAccess() = default;
    /// The setting of this number gets the value; returns when the server has applied it.
    virtual void Set(unsigned setting, const std::string& value) = 0;
    [[nodiscard]] virtual std::string Get(unsigned setting) = 0;
    /// Sets settings 0 to `count` - 1, many in one request.
    virtual void Fill(unsigned count) = 0;
    /// Tells subscribers of the value.
    virtual void Publish(const std::string& value) = 0;
};

/// One server that is measured, with a folder of its own. Everything is made alike on both sides: setting N
/// is named "setting<N % 10>" in group "Group/<N / 10>", and `Fill` gives it `FilledValue(N)`.
class Contender {
public:
    explicit Contender(std::string folder) : _folder(std::move(folder)) {}
    virtual ~Contender() = default;

    enum class Keeping { kMemory, kDisk };
    /// Returns when it has answered a request.
    void Start(Keeping keeping);
    /// Ends it; with `kDisk`, everything is saved then.
    void Stop();
    [[nodiscard]] double ResidentKiB() const { return _process.ResidentKiB(); }

    [[nodiscard]] virtual std::unique_ptr<IAccess> Connect() = 0;
    /// A socket that is subscribed to what `Publish` tells.
    [[nodiscard]] virtual int Subscribe() = 0;
    /// Exactly what a subscriber receives for one call of `Publish`.
    [[nodiscard]] virtual std::string Notification(const std::string& value) const = 0;

protected:
    [[nodiscard]] virtual ServerProcess Run(Keeping keeping) = 0;
    /// True when it answers a request about the store.
    [[nodiscard]] virtual bool Answers() = 0;

    [[nodiscard]] std::string Socket() const { return _folder + "/socket"; }
    [[nodiscard]] const std::string& Folder() const { return _folder; }

private:
    const std::string _folder;
    ServerProcess _process;
};

inline constexpr unsigned kPerGroup = 10;

[[nodiscard]] inline std::string GroupOf(unsigned setting) {
    return "Group/" + std::to_string(setting / kPerGroup);
}
[[nodiscard]] inline std::string NameOf(unsigned setting) {
    return "setting" + std::to_string(setting % kPerGroup);
}
[[nodiscard]] inline std::string FilledValue(unsigned setting) {
    return "value of the setting " + std::to_string(10000000 + setting);
}

/// `program`: the daemon's; the client is this project's own library.
[[nodiscard]] std::unique_ptr<Contender> MakeZumra(const std::string& folder, const std::string& program,
                                                   const std::string& store);

enum class RedisLayout {
    kKeys,    ///< a key a setting
    kHashes,  ///< a hash a group, a field a setting
};
/// `program`: Debian's, which is told by its name what to be; the client is hiredis.
[[nodiscard]] std::unique_ptr<Contender> MakeRedis(const std::string& folder, const std::string& program,
                                                   RedisLayout layout);

}  // namespace zumra::beside
