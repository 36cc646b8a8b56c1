#pragma once

#include "platform/files/unique_fd.h"

/// Descriptors for children of this process; all are close-on-exec in this one.
namespace quelto::platform {

struct Pipe {
  UniqueFd readEnd;
  UniqueFd writeEnd;
};

/// Both ends blocking. Both empty when no pipe can be made.
[[nodiscard]] Pipe makePipe();

/// The same open file under a number above every descriptor that a child is given, so that none of them is
/// overwritten while the child's are set up; empty when the process has no free descriptor.
[[nodiscard]] UniqueFd movedUp(UniqueFd fd);

/// The null device for reading and writing; empty when it cannot be opened.
[[nodiscard]] UniqueFd openNullDevice();

/// Makes reads and writes return at once. Only for descriptors that we opened ourselves: the mode is shared
/// by all processes that have the same open file.
[[nodiscard]] bool makeNonBlocking(int fd);

}  // namespace quelto::platform
