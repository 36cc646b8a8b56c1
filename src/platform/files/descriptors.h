#pragma once

#include "platform/files/unique_fd.h"

/// Descriptors for children of ours; all are close-on-exec here.
namespace quelto::platform {

struct Pipe {
  UniqueFd readEnd;
  UniqueFd writeEnd;
};

/// Both ends blocking. Both empty when no pipe can be made.
[[nodiscard]] Pipe makePipe();

/// The same open file under a number above every descriptor that a child is given, so that none is
/// overwritten while another is put in its place; empty when there is none to be had.
[[nodiscard]] UniqueFd movedUp(UniqueFd fd);

/// The null device for reading and writing; empty when it cannot be opened.
[[nodiscard]] UniqueFd openNullDevice();

/// Makes reads and writes return at once. For descriptors that we opened ourselves only: the mode is shared
/// with everybody who has the same open file.
[[nodiscard]] bool makeNonBlocking(int fd);

}  // namespace quelto::platform
