#include <hiredis/hiredis.h>
#include <unistd.h>

#include <cstdarg>
#include <stdexcept>

#include "Contender.h"

namespace zumra::beside {

namespace {

constexpr const char* kPublished = "Published";

struct FreeContext {
    void operator()(redisContext* context) const { ::redisFree(context); }
};
struct FreeReply {
    void operator()(redisReply* reply) const { ::freeReplyObject(reply); }
};
using Context = std::unique_ptr<redisContext, FreeContext>;
using Reply = std::unique_ptr<redisReply, FreeReply>;

Context Open(const std::string& socket) {
    Context context(::redisConnectUnix(socket.c_str()));
    if (context == nullptr || context->err != 0) {
        throw std::runtime_error("cannot connect to Redis at '" + socket + "'");
    }
    return context;
}

Reply Checked(const Context& context, void* reply) {
    Reply owned(static_cast<redisReply*>(reply));
    if (owned == nullptr) {
        throw std::runtime_error(std::string("Redis: ") + context->errstr);
    }
    if (owned->type == REDIS_REPLY_ERROR) {
        throw std::runtime_error("Redis: " + std::string(owned->str, owned->len));
    }
    return owned;
}

class Access final : public IAccess {
public:
    Access(const std::string& socket, RedisLayout layout) : _context(Open(socket)), _layout(layout) {}

    void Set(unsigned setting, const std::string& value) override {
        AppendSet(setting, value);
        TakeReply();
    }
    std::string Get(unsigned setting) override {
        const std::string group = GroupOf(setting);
        const std::string name = NameOf(setting);
        void* reply = _layout == RedisLayout::kHashes
                          ? ::redisCommand(_context.get(), "HGET %b %b", group.data(), group.size(),
                                           name.data(), name.size())
                          : ::redisCommand(_context.get(), "GET %b:%b", group.data(), group.size(),
                                           name.data(), name.size());
        const Reply checked = Checked(_context, reply);
        return std::string(checked->str, checked->len);
    }
    void Fill(unsigned count) override {
        constexpr unsigned kAtOnce = 10000;
        for (unsigned begin = 0; begin < count; begin += kAtOnce) {
            const unsigned end = std::min(count, begin + kAtOnce);
            for (unsigned setting = begin; setting < end; ++setting) {
                AppendSet(setting, FilledValue(setting));
            }
            for (unsigned setting = begin; setting < end; ++setting) {
                TakeReply();
            }
        }
    }
    void Publish(const std::string& value) override {
        Checked(_context,
                ::redisCommand(_context.get(), "PUBLISH %s %b", kPublished, value.data(), value.size()));
    }

private:
    void AppendSet(unsigned setting, const std::string& value) {
        const std::string group = GroupOf(setting);
        const std::string name = NameOf(setting);
        ::redisAppendCommand(_context.get(),
                             _layout == RedisLayout::kHashes ? "HSET %b %b %b" : "SET %b:%b %b", group.data(),
                             group.size(), name.data(), name.size(), value.data(), value.size());
    }
    void TakeReply() {
        void* reply = nullptr;
        ::redisGetReply(_context.get(), &reply);
        Checked(_context, reply);
    }

    const Context _context;
    const RedisLayout _layout;
};

std::string Bulk(const std::string& text) {
    return "$" + std::to_string(text.size()) + "\r\n" + text + "\r\n";
}

class Redis final : public Contender {
public:
    Redis(const std::string& folder, std::string program, RedisLayout layout)
        : Contender(folder), _program(std::move(program)), _layout(layout) {}

    std::unique_ptr<IAccess> Connect() override { return std::make_unique<Access>(Socket(), _layout); }
    int Subscribe() override {
        const Context context = Open(Socket());
        Checked(context, ::redisCommand(context.get(), "SUBSCRIBE %s", kPublished));
        return ::dup(context->fd);
    }
    [[nodiscard]] std::string Notification(const std::string& value) const override {
        return "*3\r\n" + Bulk("message") + Bulk(kPublished) + Bulk(value);
    }

protected:
    ServerProcess Run(Keeping keeping) override {
        // Saved as a whole when it ends, and never in between: the least work that keeps anything.
        const std::string save = keeping == Keeping::kDisk ? "86400 1" : "";
        return ServerProcess(_program, "redis-server",
                             {"--port", "0", "--unixsocket", Socket(), "--dir", Folder(), "--save", save,
                              "--appendonly", "no", "--maxclients", "4096"});
    }
    bool Answers() override {
        const Context context = Open(Socket());
        const Reply reply(static_cast<redisReply*>(::redisCommand(context.get(), "EXISTS nothing")));
        return reply != nullptr && reply->type == REDIS_REPLY_INTEGER;
    }

private:
    const std::string _program;
    const RedisLayout _layout;
};

}  // namespace

std::unique_ptr<Contender> MakeRedis(const std::string& folder, const std::string& program,
                                     RedisLayout layout) {
    return std::make_unique<Redis>(folder, program, layout);
}

}  // namespace zumra::beside
