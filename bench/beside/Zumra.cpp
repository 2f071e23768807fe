#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Contender.h"
#include "zumra/settings/ZumraSettingsClient.h"

namespace zumra::beside {

namespace {

constexpr const char* kPublished = "Published";

class Access final : public IAccess {
public:
    explicit Access(const std::string& socket) : _client(socket) {}

    void Set(unsigned setting, const std::string& value) override {
        _client.SetValue("[" + GroupOf(setting) + "]" + NameOf(setting), value);
    }
    std::string Get(unsigned setting) override {
        return _client.GetValue("[" + GroupOf(setting) + "]" + NameOf(setting));
    }
    void Fill(unsigned count) override {
        constexpr unsigned kAtOnce = 10000;
        for (unsigned begin = 0; begin < count; begin += kAtOnce) {
            core::IniFile document;
            for (unsigned setting = begin; setting < std::min(count, begin + kAtOnce); ++setting) {
                document[GroupOf(setting)][NameOf(setting)] = FilledValue(setting);
            }
            _client.MergeSettings(document);
        }
    }
    void Publish(const std::string& value) override {
        _client.SetValue("[" + std::string(kPublished) + "]value", value);
    }

private:
    settings::ZumraSettingsClient _client;
};

void Ask(int socket, const std::string& request, const std::string& reply) {
    if (::send(socket, request.data(), request.size(), MSG_NOSIGNAL) < 0) {
        throw std::runtime_error("the daemon takes no request");
    }
    std::string got(reply.size(), '\0');
    if (::recv(socket, got.data(), got.size(), MSG_WAITALL) < 0 || got != reply) {
        throw std::runtime_error("the daemon answered '" + got + "' to '" + request + "'");
    }
}

class Zumra final : public Contender {
public:
    Zumra(const std::string& folder, std::string program, std::string store)
        : Contender(folder), _program(std::move(program)), _store(std::move(store)) {}

    std::unique_ptr<IAccess> Connect() override { return std::make_unique<Access>(Socket()); }
    int Subscribe() override {
        const int socket = ConnectSoon(Socket());
        Ask(socket, "subscribe\n" + std::string(kPublished) + "\n.\nsync\n", "synced\n");
        return socket;
    }
    [[nodiscard]] std::string Notification(const std::string& value) const override {
        const std::string group(kPublished);
        return "async change\n" + group + "\n.\n[" + group + "]\nvalue = " + value + "\n\n.\n";
    }

protected:
    ServerProcess Run(Keeping keeping) override {
        const std::string store = keeping == Keeping::kDisk ? _store + ":" + Folder() + "/store" : "memory:";
        return ServerProcess(_program, _program,
                             {"--socket", Socket(), "--store", store, "--log-level", "error"});
    }
    bool Answers() override {
        const int socket = ConnectSoon(Socket());
        Ask(socket, "get delimited\nno such group\n.\n", "data\n.\n");
        ::close(socket);
        return true;
    }

private:
    const std::string _program;
    const std::string _store;
};

}  // namespace

std::unique_ptr<Contender> MakeZumra(const std::string& folder, const std::string& program,
                                     const std::string& store) {
    return std::make_unique<Zumra>(folder, program, store);
}

}  // namespace zumra::beside
