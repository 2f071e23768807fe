// Bringing whole documents in.
#include "zumra-settings/Documents.h"
#include "zumra-settings/Verbs.h"

namespace zumra::cli {

namespace {

struct Arguments {
    std::string file = "-";
    std::vector<std::string> replace;
    bool dryRun = false;
};

/// What the settings would be: as now with the document merged, or with it in place of what the patterns
/// match.
core::IniFile Result(const core::IniFile& document, const core::IniFile& current, bool replaces) {
    core::IniFile result;
    if (!replaces) {
        result = current;
    }
    result.MergeSettings(document);
    return result;
}

int Import(Context& context, const Arguments& arguments) {
    const core::IniFile document = ReadDocumentFile(context, arguments.file);
    settings::ZumraSettingsClient& client = context.client();
    const std::set<std::string> patterns = AsSet(arguments.replace);
    if (arguments.dryRun) {
        std::set<std::string> concerned = patterns;
        for (const auto& [group, values] : document) {
            concerned.insert(group);
        }
        core::IniFile current;
        client.GetSettings(concerned, current);
        WriteChanges(context, Changes(current, Result(document, current, !patterns.empty())));
        return kDone;
    }
    if (patterns.empty()) {
        client.MergeSettings(document);
    } else {
        client.OverwriteSettings(patterns, document);
    }
    return kDone;
}

}  // namespace

Action AddImport(CLI::App& app) {
    auto arguments = std::make_shared<Arguments>();
    app.add_option("file", arguments->file, "File with a document; '-' or nothing: standard input");
    app.add_option("--replace", arguments->replace, "Put the document in place of the groups of this pattern")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all();
    app.add_flag("--dry-run", arguments->dryRun, "Only show what would change");
    return [arguments](Context& context) { return Import(context, *arguments); };
}

}  // namespace zumra::cli
