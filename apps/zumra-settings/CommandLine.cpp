#include "zumra-settings/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <map>
#include <ostream>

#include "check/NearestName.h"
#include "zumra-settings/Connect.h"
#include "zumra-settings/Context.h"
#include "zumra-settings/Verbs.h"

namespace zumra::cli {

namespace {

const std::map<std::string, Form> kForms{
    {"people", Form::kPeople}, {"ini", Form::kIni}, {"json", Form::kJson}, {"nul", Form::kNul}};

struct Options {
    std::string socket;
    std::string form = "people";
    std::string color = "auto";
};

bool WantsColor(const Options& options, const Terminal& terminal) {
    const char* no = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): nobody writes it
    const bool automatic = terminal.isTerminal && (no == nullptr || *no == '\0');
    return options.color == "always" || (options.color == "auto" && automatic);
}

bool IsOption(const std::string& word) {
    return word.rfind('-', 0) == 0;
}

/// Every word that may stand where `word` did: the options of the program and of the verb in use, or the
/// verbs.
std::vector<std::string> Known(const CLI::App& app, const std::string& word) {
    std::vector<std::string> known;
    if (!IsOption(word)) {
        for (const Verb& verb : AllVerbs()) {
            known.emplace_back(verb.name);
        }
        return known;
    }
    std::vector<const CLI::App*> levels{&app};
    for (const CLI::App* used : app.get_subcommands()) {
        levels.push_back(used);
    }
    for (const CLI::App* level : levels) {
        for (const CLI::Option* option : level->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                known.push_back("--" + name);
            }
        }
    }
    return known;
}

int Mistake(const CLI::App& app, const CLI::ParseError& error, std::ostream& err) {
    const std::vector<std::string> rest = app.remaining(true);
    if (rest.empty()) {
        err << "zumra-settings: " << error.what() << '\n';
    } else {
        const std::string& word = rest.front();
        const std::vector<std::string> known = Known(app, word);
        err << "zumra-settings: there is no " << (IsOption(word) ? "option" : "verb") << " '" << Visible(word)
            << "'; the nearest is '" << check::NearestName(word, {known.begin(), known.end()}) << "'\n";
    }
    err << "Try 'zumra-settings --help'.\n";
    return kUsage;
}

/// The client of one run, connected when it is first needed.
class LazyClient {
public:
    explicit LazyClient(const std::string& socket) : _socket(socket) {}
    settings::ZumraSettingsClient& Get() {
        if (_client == nullptr) {
            _client = Connect(_socket);
        }
        return *_client;
    }

private:
    const std::string& _socket;
    std::unique_ptr<settings::ZumraSettingsClient> _client;
};

int Run(const Action& action, const Options& options, const Terminal& terminal) {
    Context context{terminal.in, terminal.out, terminal.err, kForms.at(options.form), {}, {}, {}, {}};
    context.style = Style(WantsColor(options, terminal));
    context.socket = options.socket.empty() ? DefaultSocket() : options.socket;
    LazyClient client(context.socket);
    context.client = [&client]() -> settings::ZumraSettingsClient& { return client.Get(); };
    context.report = [&context](const std::string& name) { return AskReport(context.socket, name); };
    try {
        const int status = action(context);
        context.out.flush();
        return status;
    } catch (const NoServer& none) {
        context.err << "zumra-settings: " << none.reason << '\n';
        return kNoServer;
    } catch (const std::exception& error) {
        context.err << "zumra-settings: " << Visible(error.what()) << '\n';
        return kRefused;
    }
}

}  // namespace

int RunCommandLine(int count, const char* const* arguments, const Terminal& terminal) {
    Options options;
    CLI::App app("Shows and changes the settings of a device.", "zumra-settings");
    app.set_version_flag("-V,--version", std::string("zumra-settings ") + ZUMRA_VERSION);
    app.add_option(
        "-s,--socket", options.socket,
        "The server's socket; otherwise $ZUMRA_SETTINGS_SOCKET, the user's own server, the system's");
    app.add_option("-f,--form", options.form, "How to write results: people, ini, json, nul")
        ->capture_default_str()
        ->check(CLI::IsMember(kForms));
    app.add_option("--color", options.color, "auto, always or never; $NO_COLOR means never")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "always", "never"}));
    app.footer(
        "Locators name one value: '[group]name'. Patterns end in '*'.\n"
        "Status: 0 done, 1 refused or different, 2 usage, 3 no such setting, 4 no server.");
    app.require_subcommand(1);
    app.fallthrough();
    Action action;
    for (const Verb& verb : AllVerbs()) {
        CLI::App* sub = app.add_subcommand(verb.name, verb.help);
        sub->footer(std::string("Example: ") + verb.example);
        sub->parse_complete_callback([&action, run = verb.add(*sub)] { action = run; });
    }
    try {
        app.parse(count, arguments);
    } catch (const CLI::Success& success) {
        return app.exit(success, terminal.out, terminal.err);
    } catch (const CLI::ParseError& error) {
        return Mistake(app, error, terminal.err);
    }
    return Run(action, options, terminal);
}

}  // namespace zumra::cli
