#include "zumra-settingsd/Options.h"

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cstdlib>
#include <iostream>
#include <map>

#include "zumra-settingsd/Paths.h"

namespace zumra::settingsd {

namespace {

const std::map<std::string, Log::Level> kLogLevels{{"error", Log::kError},
                                                   {"warning", Log::kWarning},
                                                   {"notice", Log::kNotice},
                                                   {"info", Log::kInfo},
                                                   {"debug", Log::kDebug}};

/// A number below zero is not a very large one.
CLI::Validator AnySize() {
    return CLI::Range(1u, 2147483647u).description("");
}

/// What CLI11 stores into and `Options` holds in another type.
struct Raw {
    std::string socketMode = "0660";
    unsigned saveDelay = 200;
    std::string logLevel = "info";
};

mode_t ParseMode(const std::string& text) {
    char* end = nullptr;
    const unsigned long mode = std::strtoul(text.c_str(), &end, 8);
    if (text.empty() || *end != '\0' || mode > 0777) {
        throw CLI::ValidationError("--socket-mode",
                                   "expected an octal mode from 0 to 0777, got '" + text + "'");
    }
    return static_cast<mode_t>(mode);
}

void Describe(CLI::App& app, Options& options, Raw& raw) {
    app.set_version_flag("-V,--version", std::string("zumra-settingsd ") + ZUMRA_VERSION);
    app.set_config("--config", DefaultConfigPath(),
                   "Configuration file: the long options below without '--', one 'name = value' a line")
        ->type_name("FILE");
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.add_option("--socket", options.socket, "Unix socket to serve on")
        ->default_str(DefaultSocketPath())
        ->type_name("PATH");
    app.add_option("--socket-mode", raw.socketMode, "Mode of the socket, octal")
        ->capture_default_str()
        ->type_name("MODE");
    app.add_option("--socket-group", options.socketGroup, "Group of users that owns the socket")
        ->type_name("NAME");
    app.add_option("--defaults", options.defaults, "INI file with the default settings")->type_name("FILE");
    app.add_option("--include", options.include,
                   "Folder whose *.ini files add to the defaults, in the order of their names")
        ->type_name("DIR");
    app.add_option("--restricted", options.restricted,
                   "INI file that says who may read and write which groups")
        ->type_name("FILE");
    app.add_option("--store", options.store, "Where settings are kept: ini:PATH, sqlite:PATH or memory:")
        ->default_str(DefaultStoreUri())
        ->type_name("URI");
    app.add_option("--save-delay", raw.saveDelay,
                   "How long changes are gathered before they are saved, 0 to 3600000; 0 saves each at once")
        ->capture_default_str()
        ->check(CLI::Range(0u, 3600000u).description(""))
        ->type_name("MS");
    app.add_option("--max-connections", options.maxConnections, "Connections served at a time, 1 to 1000000")
        ->capture_default_str()
        ->check(CLI::Range(1u, 1000000u).description(""))
        ->type_name("N");
    app.add_option("--max-line", options.limits.line, "Longest line of a request, 1 to 2147483647")
        ->capture_default_str()
        ->check(AnySize())
        ->type_name("BYTES");
    app.add_option("--max-document", options.limits.document,
                   "Largest document in a request, 1 to 2147483647")
        ->capture_default_str()
        ->check(AnySize())
        ->type_name("BYTES");
    app.add_option("--max-list", options.limits.listEntries,
                   "Most names in a list of a request, 1 to 2147483647")
        ->capture_default_str()
        ->check(AnySize())
        ->type_name("N");
    app.add_option("--max-output", options.limits.pendingOutput,
                   "Most that waits for one slow reader before it is cut off, 1 to 2147483647")
        ->capture_default_str()
        ->check(AnySize())
        ->type_name("BYTES");
    app.add_option("--log-level", raw.logLevel, "Least level to log: error, warning, notice, info, debug")
        ->capture_default_str()
        ->check(CLI::IsMember(kLogLevels).description(""))
        ->type_name("LEVEL");
    app.add_flag("--check", options.checkOnly, "Read and validate everything, then exit without serving");
}

}  // namespace

Options ParseOptions(int count, char** arguments) {
    Options options;
    Raw raw;
    CLI::App app("Keeps the settings of a device and serves them on a Unix socket.", "zumra-settingsd");
    app.footer("Example: zumra-settingsd --socket /tmp/settings.sock --store ini:/tmp/settings.ini");
    try {
        Describe(app, options, raw);
        app.parse(count, arguments);
        options.socketMode = ParseMode(raw.socketMode);
    } catch (const CLI::ConfigError& error) {
        std::cerr << "zumra-settingsd: '" << app["--config"]->as<std::string>() << "': " << error.what()
                  << '\n';
        throw EarlyExit{2};
    } catch (const CLI::ParseError& error) {
        throw EarlyExit{app.exit(error) == 0 ? 0 : 2};
    }
    options.saveDelay = std::chrono::milliseconds(raw.saveDelay);
    options.logLevel = kLogLevels.at(raw.logLevel);
    if (options.socket.empty()) {
        options.socket = DefaultSocketPath();
    }
    if (options.store.empty()) {
        options.store = DefaultStoreUri();
    }
    return options;
}

}  // namespace zumra::settingsd
