#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quelto::platform {

/// A descriptor of ours, borrowed, and the number that it gets in the child.
struct DescriptorMapping {
  int ours;
  int theirs;
};

/// What a child is started with. Everything is bytes and goes to the child unchanged.
struct ChildOptions {
  /// A path, not searched for; also the child's argument 0.
  std::string program;
  std::vector<std::string> arguments;
  /// The whole environment, "NAME=value" each.
  std::vector<std::string> environment;
  /// What the child has beside our own descriptors 0 to 2, or in their place. Each of ours must have a number
  /// above all of theirs; nothing else above the highest of theirs is left open.
  std::vector<DescriptorMapping> descriptors = {};
};

}  // namespace quelto::platform
