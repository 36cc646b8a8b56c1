#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace quelto::test {

/// Empty when the file cannot be read.
inline std::string contentOf(const std::filesystem::path& file) {
  return (std::stringstream() << std::ifstream(file, std::ios::binary).rdbuf()).str();
}

inline void writeFile(const std::filesystem::path& file, const std::string& content) {
  std::ofstream(file, std::ios::binary) << content;
}

/// A folder of its own for one test, removed with everything in it.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
    std::string pattern = (parent / "quelto-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] std::string path(const std::string& name = "") const {
    return path_ + (name.empty() ? "" : "/" + name);
  }

  std::string write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    writeFile(path(name), content);
    return path(name);
  }

 private:
  std::string path_;
};

}  // namespace quelto::test
