#include "keychain/embedded/writers_queue.h"

#include <fcntl.h>

#include <cerrno>
#include <optional>

#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

/// Held while a number is taken.
constexpr off_t door = 0;
constexpr off_t firstNumber = 1;

struct flock rangeOf(short type, off_t first, off_t count) {
  return {.l_type = type, .l_whence = SEEK_SET, .l_start = first, .l_len = count, .l_pid = 0};
}

/// False when somebody else holds it; true also when there are no locks here.
bool tryToHold(const platform::UniqueFd& queue, off_t number) {
  struct flock range = rangeOf(F_WRLCK, number, 1);
  return ::fcntl(queue.get(), F_OFD_SETLK, &range) == 0 ||
         (errno != EAGAIN && errno != EACCES && errno != EINTR);
}

void letGo(const platform::UniqueFd& queue, off_t number) {
  struct flock range = rangeOf(F_UNLCK, number, 1);
  ::fcntl(queue.get(), F_OFD_SETLK, &range);
}

/// A number that somebody else holds, out of `count` from `first` on; with 0 out of all.
std::optional<off_t> heldByAnother(const platform::UniqueFd& queue, off_t first, off_t count) {
  struct flock range = rangeOf(F_WRLCK, first, count);
  const bool isHeld = ::fcntl(queue.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
  return isHeld ? std::optional(range.l_start) : std::nullopt;
}

void waitOnceMore(Deadline& deadline) {
  if (!deadline.pause()) throw Failure(errSecNotAvailable);
}

}  // namespace

PlaceInQueue::PlaceInQueue(const platform::PrivateFolder& folder, Deadline& deadline)
    : queue_(folder.openOrMakeFile(queueName)) {
  while (!tryToHold(queue_, door)) waitOnceMore(deadline);
  off_t number = firstNumber;
  while (const auto held = heldByAnother(queue_, number, 0)) number = *held + 1;
  static_cast<void>(tryToHold(queue_, number));  // behind the door nobody else takes it
  letGo(queue_, door);
  while (number > firstNumber && heldByAnother(queue_, firstNumber, number - firstNumber))
    waitOnceMore(deadline);
}

}  // namespace quelto::keychain::embedded
