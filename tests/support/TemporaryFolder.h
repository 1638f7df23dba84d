#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

/// A folder of the test's own that goes with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tzmchain-test-XXXXXX").string();
        path = mkdtemp(name.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }
    std::filesystem::path Write(const std::string& name, const std::string& text) const {
        std::ofstream(path / name, std::ios::binary) << text;
        return path / name;
    }

    std::filesystem::path path;
};
