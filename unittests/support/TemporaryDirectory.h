#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace zumra::test {

/// A folder of a test's own that is gone with it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        _path = (std::filesystem::temp_directory_path() / "zumra-test-XXXXXX").string();
        if (::mkdtemp(_path.data()) == nullptr) {
            throw std::runtime_error("cannot make a temporary folder");
        }
    }
    ~TemporaryDirectory() { std::filesystem::remove_all(_path); }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::string& Path() const { return _path; }
    [[nodiscard]] std::string File(const std::string& name) const { return _path + "/" + name; }
    /// Writes a file and returns its path.
    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(File(name), std::ios::binary) << text;
        return File(name);
    }

private:
    std::string _path;
};

}  // namespace zumra::test
