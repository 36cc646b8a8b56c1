#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quelto::platform {

/// A descriptor of this process, borrowed, and its number in the child.
struct DescriptorMapping {
  int ours;
  int theirs;
};

/// What a child is started with. All texts are bytes and reach the child unchanged.
struct ChildOptions {
  /// A path, not searched for; also the child's argument 0.
  std::string program;
  std::vector<std::string> arguments;
  /// The whole environment, "NAME=value" each.
  std::vector<std::string> environment;
  /// What the child gets in addition to our descriptors 0 to 2, or instead of them. Each of ours must have a
  /// number above all of theirs. The child has nothing open above the highest of theirs.
  std::vector<DescriptorMapping> descriptors = {};
};

}  // namespace quelto::platform
