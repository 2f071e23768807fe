// Bringing whole documents in.
#include "settings/client/IBackend.h"
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
    const Matcher replaced = AsMatcher(arguments.replace);
    const core::IniFile document = ReadDocumentFile(context, arguments.file);
    settings::client::IBackend& backend = context.client().Backend();
    if (arguments.dryRun) {
        Matcher concerned = replaced;
        for (const auto& [group, values] : document) {
            concerned.AddName(group);
        }
        core::IniFile current;
        backend.Get(concerned, current);
        WriteChanges(context, Changes(current, Result(document, current, !replaced.empty())));
        return kDone;
    }
    if (replaced.empty()) {
        backend.Merge(document);
    } else {
        backend.Overwrite(replaced, document);
    }
    return kDone;
}

}  // namespace

Action AddImport(CLI::App& app) {
    auto arguments = std::make_shared<Arguments>();
    app.add_option("file", arguments->file, "File with a document; '-' or nothing: standard input");
    app.add_option("--replace", arguments->replace,
                   "Put the document in place of this group, or the groups of this pattern")
        ->expected(1)
        ->allow_extra_args(false)
        ->take_all()
        ->type_name("GROUPS");
    app.add_flag("--dry-run", arguments->dryRun, "Only show what would change");
    return [arguments](Context& context) { return Import(context, *arguments); };
}

}  // namespace zumra::cli
