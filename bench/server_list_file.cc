#include "bench/server_list_file.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace quelto::bench {

TemporaryHome::TemporaryHome() {
  std::string name = std::filesystem::temp_directory_path() / "quelto-bench-XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error(name + ": cannot be made");
  path_ = name;
}

TemporaryHome::~TemporaryHome() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryHome::writeServerList(std::size_t lines, HostNames hostNames) const {
  std::filesystem::create_directories(serverList().parent_path());
  std::ofstream list(serverList());
  for (std::size_t line = 0; line < lines; ++line) {
    list << hostOfLine(line, hostNames) << '\t' << 2200 + line % 100 << "\tdeveloper" << line % 1000
         << "\t/home/developer/.ssh/id_ed25519\t/usr/bin/ssh\t-o Compression=yes -o ServerAliveInterval=60\n";
  }
  if (!list.flush()) throw std::runtime_error(serverList().string() + ": cannot be written");
}

std::string hostOfLine(std::size_t line, HostNames hostNames) {
  const char* const name = hostNames == HostNames::ascii ? "Subversion" : "Büro-Zürich";
  return name + std::to_string(line) + ".example.org";
}

}  // namespace quelto::bench
