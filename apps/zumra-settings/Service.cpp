// The verbs about the server itself.
#include <algorithm>
#include <chrono>
#include <iomanip>
#include <ostream>

#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"

namespace zumra::cli {

namespace {

Action AddReport(const char* name) {
    return [name](Context& context) {
        WriteDocument(context.out, context.form, context.style, context.report(name));
        return kDone;
    };
}

int Ping(Context& context, unsigned count) {
    using Clock = std::chrono::steady_clock;
    settings::ZumraSettingsClient& client = context.client();
    for (unsigned number = 0; number < count; ++number) {
        const auto start = Clock::now();
        client.Sync();
        const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
        context.out << "answer from "
                    << (context.socket.empty() ? "the store" : "'" + Visible(context.socket) + "'")
                    << " after " << time.count() << " us\n";
    }
    return kDone;
}

}  // namespace

Action AddStats(CLI::App&) {
    return AddReport("stats");
}

Action AddClients(CLI::App&) {
    return AddReport("clients");
}

Action AddPing(CLI::App& app) {
    auto count = std::make_shared<unsigned>(1);
    app.add_option("--count", *count, "How often")->capture_default_str();
    return [count](Context& context) { return Ping(context, *count); };
}

Action AddFlush(CLI::App&) {
    return [](Context& context) {
        context.client().Flush();
        return kDone;
    };
}

}  // namespace zumra::cli
