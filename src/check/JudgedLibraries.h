#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zumra::check {

/// One of the libraries under check, as the loader found it for this program.
struct JudgedLibrary {
    /// "libzumra".
    std::string name;
    /// What its own function says; "of unknown version" where it has none.
    std::string version;
    /// What it calls itself to the loader, "libzumra.so.1"; empty where it has no name.
    std::string soname;
    /// The file itself, links followed.
    std::string path;
};

/// libzumra and libzumra-settings, in this order, as far as they are loaded.
std::vector<JudgedLibrary> JudgedLibraries();

/// "libzumra 1.0.0 (/usr/lib/libzumra.so.1.0.0)"
std::string Describe(const JudgedLibrary& library);

/// Throws `CommandLineError` for a library whose soname or version is of another major version than
/// `version`, which is that of the checks.
void RequireSameMajorVersion(const std::vector<JudgedLibrary>& libraries, std::string_view version);

}  // namespace zumra::check
