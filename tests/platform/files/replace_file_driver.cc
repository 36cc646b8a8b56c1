#include <cstdlib>
#include <string>

#include "platform/files/replace_file.h"

/// Replaces the file at the first argument by as many letters as the third argument says, each the second;
/// ends with 0 when that is done and else with 1.
int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const std::string content(std::strtoul(argv[3], nullptr, 10), argv[2][0]);
  return quelto::platform::replaceFile(argv[1], content, quelto::platform::Links::ownFollowed) ? 0 : 1;
}
