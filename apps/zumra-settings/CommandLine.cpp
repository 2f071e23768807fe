#include "zumra-settings/CommandLine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <ostream>
#include <string_view>

#include "check/NearestName.h"
#include "zumra-settings/Complete.h"
#include "zumra-settings/Connect.h"
#include "zumra-settings/Program.h"

namespace zumra::cli {

namespace {

/// Whether that is what a client says whose server went away.
bool TellsOfNoServer(const std::string& reason) {
    return reason.rfind("connection lost", 0) == 0 || reason.rfind("no server at", 0) == 0;
}

bool IsSet(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody writes it
    return value != nullptr && *value != '\0';
}

Style StyleFor(const Options& options, const Terminal& terminal) {
    const bool always = options.color == "always";
    const bool automatic = options.color == "auto" && terminal.isTerminal && !IsSet("NO_COLOR");
    return {always || automatic, always || terminal.isTerminal};
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

std::string Describe(const Program& program, const CLI::ParseError& error) {
    const CLI::App& app = program.app;
    const std::vector<std::string> rest = program.Rest();
    const auto verbs = app.get_subcommands();
    if (rest.empty()) {
        return verbs.empty() && error.get_name() == "RequiredError" ? "expected a verb" : error.what();
    }
    const std::string& word = rest.front();
    if (!verbs.empty() && !IsOption(word)) {
        return "'" + verbs.front()->get_name() + "' takes no further word, got '" + Visible(word) + "'";
    }
    const std::vector<std::string> known = Known(app, word);
    const std::string nearest(check::NearestName(word, {known.begin(), known.end()}));
    return std::string("there is no ") + (IsOption(word) ? "option" : "verb") + " '" + Visible(word) +
           "'; the nearest is '" + nearest + "'";
}

int Mistake(const Terminal& terminal, const std::string& what) {
    terminal.err << "zumra-settings: " << what << "\nTry 'zumra-settings --help'.\n";
    return kUsage;
}

/// What one run works on, connected or opened when it is first needed.
class LazyClient {
public:
    LazyClient(const Program& program, const Context& context) : _program(program), _context(context) {}

    settings::ZumraSettingsClient& Get() {
        if (!_program.options.store.uri.empty()) {
            return Store().Client();
        }
        if (_client == nullptr) {
            _client = Connect(_context.socket, Silence());
        }
        return *_client;
    }
    core::IniFile Report(const std::string& name) {
        return _program.options.store.uri.empty() ? AskReport(_context.socket, name, Silence())
                                                  : Store().Defaults();
    }

private:
    [[nodiscard]] std::chrono::milliseconds Silence() const {
        return std::chrono::milliseconds(std::llround(_program.options.timeout * 1000));
    }
    LocalStore& Store() {
        if (!_store) {
            _store.emplace(_program.options.store, _program.verb->onlyReads,
                           [this](const std::string& warning) { _context.Complain(warning); });
        }
        return *_store;
    }

    const Program& _program;
    const Context& _context;
    std::unique_ptr<settings::ZumraSettingsClient> _client;
    std::optional<LocalStore> _store;
};

/// An output that takes nothing more is no success.
int Finish(const Terminal& terminal, int status) {
    terminal.out.flush();
    if (terminal.out) {
        return status;
    }
    terminal.err << "zumra-settings: cannot write the result\n";
    return kRefused;
}

int Act(const Program& program, Context& context) {
    if (program.verb->needsServer != nullptr && !program.options.store.uri.empty()) {
        throw UsageError{"'" + std::string(program.verb->name) +
                         "' needs a server: " + program.verb->needsServer};
    }
    return program.action(context);
}

int Run(const Program& program, const Terminal& terminal) {
    const Options& options = program.options;
    Context context{
        terminal.in, terminal.out, terminal.err, FormOf(options.form), StyleFor(options, terminal), {}, {},
        {}};
    if (options.store.uri.empty()) {
        context.socket = options.socket.empty() ? DefaultSocket() : options.socket;
    }
    LazyClient client(program, context);
    context.client = [&client]() -> settings::ZumraSettingsClient& { return client.Get(); };
    context.report = [&client](const std::string& name) { return client.Report(name); };
    try {
        return Finish(terminal, Act(program, context));
    } catch (const NoServer& none) {
        context.Complain(none.reason);
        return kNoServer;
    } catch (const UsageError& error) {
        return Mistake(terminal, error.reason);
    } catch (const std::exception& error) {
        const std::string reason = Visible(error.what());
        context.Complain(reason);
        return TellsOfNoServer(reason) ? kNoServer : kRefused;
    }
}

}  // namespace

int RunCommandLine(int count, const char* const* arguments, const Terminal& terminal) {
    if (count == 3 && std::string_view(arguments[1]) == "complete") {
        return Complete(arguments[2], terminal);
    }
    Program program;
    try {
        program.Parse(count, arguments);
    } catch (const CLI::Success& success) {
        return Finish(terminal, program.app.exit(success, terminal.out, terminal.err));
    } catch (const CLI::ParseError& error) {
        return Mistake(terminal, Describe(program, error));
    }
    return Run(program, terminal);
}

}  // namespace zumra::cli
