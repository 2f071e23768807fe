// Runs a fuzz target on the inputs in the folders and files that are given, where no fuzzer is linked with
// it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void RunFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string input(std::istreambuf_iterator<char>(stream), {});
    if (!stream) {
        std::cerr << path << " cannot be read\n";
        std::exit(1);
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

int RunAll(const std::filesystem::path& path) {
    if (!std::filesystem::is_directory(path)) {
        RunFile(path);
        return 1;
    }
    int count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            RunFile(entry.path());
            ++count;
        }
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        count += RunAll(argv[i]);
    }
    std::cout << count << " inputs\n";
    return count > 0 ? 0 : 1;
}
