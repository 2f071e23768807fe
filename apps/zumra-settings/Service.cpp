// The verbs about the server itself.
#include <chrono>
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
    core::IniFile answers;
    for (unsigned number = 1; number <= count; ++number) {
        const auto start = Clock::now();
        client.Sync();
        const auto time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
        if (context.form == Form::kPeople) {
            context.out << "answer from '" << Visible(context.socket) << "' after " << time.count()
                        << " us\n";
            continue;
        }
        auto& answer = answers["Answer/" + std::to_string(number)];
        answer["Socket"] = context.socket;
        answer["Microseconds"] = std::to_string(time.count());
    }
    WriteDocument(context.out, context.form, context.style, answers);
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
    app.add_option("--count", *count, "How often")->capture_default_str()->type_name("N");
    return [count](Context& context) { return Ping(context, *count); };
}

Action AddFlush(CLI::App&) {
    return [](Context& context) {
        context.client().Flush();
        return kDone;
    };
}

}  // namespace zumra::cli
