// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

namespace corvane::test {

inline std::string bytesOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) throw std::runtime_error("there is no " + path);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void write(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

/// A folder that goes with the test.
class Folder {
public:
    Folder() {
        std::string name = std::filesystem::temp_directory_path() / "corvane.XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string operator/(const std::string& name) const { return path_ / name; }

    /// What lies in it, with the contents.
    std::map<std::string, std::string> contents() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            found[entry.path().filename()] = entry.is_regular_file() ? bytesOf(entry.path()) : "no regular file";
        return found;
    }

private:
    std::filesystem::path path_;
};

} // namespace corvane::test
