#include "zumra-settings/Program.h"

#include <algorithm>
#include <map>
#include <utility>

namespace zumra::cli {

namespace {

const std::map<std::string, Form> kForms{
    {"people", Form::kPeople}, {"ini", Form::kIni}, {"json", Form::kJson}, {"nul", Form::kNul}};

void AddStoreOptions(CLI::App& app, StoreSources& store) {
    CLI::Option* uri = app.add_option("--store", store.uri,
                                      "Work without a server on a store that none has open: ini:PATH, "
                                      "sqlite:PATH or memory:")
                           ->type_name("URI");
    uri->excludes("--socket");
    app.add_option("--defaults", store.defaults, "With --store: INI file with the default settings")
        ->needs(uri)
        ->type_name("FILE");
    app.add_option("--include", store.include, "With --store: folder whose *.ini files add to the defaults")
        ->needs(uri)
        ->type_name("DIR");
    app.add_option("--restricted", store.restricted,
                   "With --store: INI file that says who may read and write which groups")
        ->needs(uri)
        ->type_name("FILE");
}

/// CLI11 takes a word in brackets for a list and splits it. With this byte behind it, which no word from
/// outside has, it is one word like any other.
constexpr char kMark = '\0';

std::string Marked(std::string word) {
    if (!word.empty() && word.back() == ']') {
        word += kMark;
    }
    return word;
}

std::string Unmarked(std::string word) {
    if (!word.empty() && word.back() == kMark) {
        word.pop_back();
    }
    return word;
}

void UnmarkValues(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) {
        if (option->get_items_expected_max() > 0) {
            option->transform(Unmarked);
        }
    }
}

}  // namespace

Form FormOf(const std::string& name) {
    return kForms.at(name);
}

Program::Program() : app("Shows and changes the settings of a device.", "zumra-settings") {
    app.get_formatter()->label("SUBCOMMAND", "VERB");
    app.set_version_flag("-V,--version", std::string("zumra-settings ") + ZUMRA_VERSION);
    app.add_option(
           "-s,--socket", options.socket,
           "The server's socket; otherwise $ZUMRA_SETTINGS_SOCKET, the user's own server, the system's")
        ->type_name("PATH");
    app.add_option("-t,--timeout", options.timeout,
                   "How long the server may be silent while it owes an answer, 0.001 to 86400")
        ->capture_default_str()
        ->check(CLI::Range(0.001, 86400.0).description(""))
        ->type_name("SECONDS");
    AddStoreOptions(app, options.store);
    app.add_option("-f,--form", options.form,
                   "How results are written and documents read: people, ini, json, nul")
        ->capture_default_str()
        ->check(CLI::IsMember(kForms).description(""))
        ->type_name("FORM");
    app.add_option("--color", options.color, "auto, always or never; $NO_COLOR means never")
        ->capture_default_str()
        ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
        ->type_name("WHEN");
    app.footer(
        "Locators name one value: '[group]name'. Patterns end in '*'; a group whose name does is given in\n"
        "quotes: '\"h*\"'. '--' ends the options.\n"
        "Status: 0 done, 1 refused or different, 2 usage, 3 no such setting, 4 no server.");
    app.require_subcommand(1);
    app.fallthrough();
    for (const Verb& each : AllVerbs()) {
        CLI::App* sub = app.add_subcommand(each.name, each.help)->group("Verbs");
        sub->footer(std::string("Example: ") + each.example);
        sub->parse_complete_callback([this, &each, run = each.add(*sub)] {
            verb = &each;
            action = run;
        });
        UnmarkValues(*sub);
    }
    UnmarkValues(app);
}

void Program::Parse(int count, const char* const* words) {
    std::vector<std::string> marked;
    for (int index = count - 1; index > 0; --index) {
        marked.push_back(Marked(words[index]));
    }
    app.parse(std::move(marked));
}

std::vector<std::string> Program::Rest() const {
    std::vector<std::string> rest = app.remaining(true);
    std::transform(rest.begin(), rest.end(), rest.begin(), Unmarked);
    return rest;
}

}  // namespace zumra::cli
