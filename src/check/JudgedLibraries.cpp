#include "check/JudgedLibraries.h"

#include <dlfcn.h>
#include <link.h>

#include <array>
#include <filesystem>

#include "check/CommandLine.h"

namespace zumra::check {

namespace {

struct KnownLibrary {
    std::string_view name;
    /// `zumra::core::Version` and `zumra::settings::Version`, as the loader calls them: another build may
    /// lack them, so that nothing here may refer to them.
    const char* versionFunction;
};

constexpr std::array<KnownLibrary, 2> kKnown = {{
    {"libzumra", "_ZN5zumra4core7VersionEv"},
    {"libzumra-settings", "_ZN5zumra8settings7VersionEv"},
}};

/// A file that the loader has mapped.
struct LoadedObject {
    std::string path;
    std::string soname;
};

/// What the loader has put there.
template <typename Object>
const Object* AtAddress(ElfW(Addr) address) {
    return reinterpret_cast<const Object*>(address);  // NOLINT(performance-no-int-to-ptr): the loader's form
}

const ElfW(Dyn) * DynamicSection(const dl_phdr_info& info) {
    for (int i = 0; i < info.dlpi_phnum; ++i)
        if (info.dlpi_phdr[i].p_type == PT_DYNAMIC)
            return AtAddress<ElfW(Dyn)>(info.dlpi_addr + info.dlpi_phdr[i].p_vaddr);
    return nullptr;
}

std::string Soname(const dl_phdr_info& info) {
    ElfW(Addr) strings = 0;
    ElfW(Xword) offset = 0;
    for (const ElfW(Dyn)* entry = DynamicSection(info); entry != nullptr && entry->d_tag != DT_NULL;
         ++entry) {
        if (entry->d_tag == DT_STRTAB)
            strings = entry->d_un.d_ptr;
        if (entry->d_tag == DT_SONAME)
            offset = entry->d_un.d_val;
    }
    if (strings == 0 || offset == 0)
        return "";
    // Loaders differ in whether they have put the address in place.
    const ElfW(Addr) base = strings < info.dlpi_addr ? info.dlpi_addr : 0;
    return AtAddress<char>(base + strings + offset);
}

int Collect(dl_phdr_info* info, std::size_t /*size*/, void* objects) {
    static_cast<std::vector<LoadedObject>*>(objects)->push_back({info->dlpi_name, Soname(*info)});
    return 0;
}

bool IsCalled(std::string_view fileName, std::string_view library) {
    return fileName.starts_with(library) && fileName.substr(library.size()).starts_with(".so");
}

bool IsLibrary(const LoadedObject& object, std::string_view name) {
    return IsCalled(std::filesystem::path(object.path).filename().string(), name) ||
           IsCalled(object.soname, name);
}

std::string Version(const LoadedObject& object, const char* function) {
    void* const handle = dlopen(object.path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr)
        return "of unknown version";
    void* const symbol = dlsym(handle, function);
    std::string version =
        symbol == nullptr ? "of unknown version" : reinterpret_cast<const char* (*)()>(symbol)();
    dlclose(handle);
    return version;
}

std::string RealPath(const std::string& path) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    return error ? path : real.string();
}

/// What stands before the first dot; empty for a text that begins with no digit.
std::string_view Major(std::string_view version) {
    return version.substr(0, version.find_first_not_of("0123456789"));
}

/// "libzumra.so.1": "1".
std::string_view MajorOfSoname(std::string_view soname) {
    const std::size_t suffix = soname.find(".so.");
    return suffix == std::string_view::npos ? "" : Major(soname.substr(suffix + 4));
}

}  // namespace

std::vector<JudgedLibrary> JudgedLibraries() {
    std::vector<LoadedObject> objects;
    dl_iterate_phdr(Collect, &objects);
    std::vector<JudgedLibrary> found;
    for (const KnownLibrary& known : kKnown)
        for (const LoadedObject& object : objects)
            if (IsLibrary(object, known.name))
                found.push_back({std::string(known.name), Version(object, known.versionFunction),
                                 object.soname, RealPath(object.path)});
    return found;
}

std::string Describe(const JudgedLibrary& library) {
    return library.name + " " + library.version + " (" + library.path + ")";
}

void RequireSameMajorVersion(const std::vector<JudgedLibrary>& libraries, std::string_view version) {
    const std::string_view wanted = Major(version);
    for (const JudgedLibrary& library : libraries)
        for (const std::string_view major : {Major(library.version), MajorOfSoname(library.soname)})
            if (!major.empty() && major != wanted)
                throw CommandLineError(Describe(library) + " is of major version " + std::string(major) +
                                       "; these checks are for major version " + std::string(wanted));
}

}  // namespace zumra::check
