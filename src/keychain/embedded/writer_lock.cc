#include "keychain/embedded/writer_lock.h"

#include <fcntl.h>

#include <cerrno>
#include <optional>

#include "keychain/embedded/failure.h"

namespace quelto::keychain::embedded {
namespace {

/// Locked while a ticket is taken.
constexpr off_t issuing = 0;
constexpr off_t firstTicket = 1;

struct flock rangeOf(short type, off_t first, off_t count) {
  return {.l_type = type, .l_whence = SEEK_SET, .l_start = first, .l_len = count, .l_pid = 0};
}

/// False when somebody else holds it; true also when there are no locks here.
bool tryToLock(const platform::UniqueFd& file, off_t byte) {
  struct flock range = rangeOf(F_WRLCK, byte, 1);
  return ::fcntl(file.get(), F_OFD_SETLK, &range) == 0 ||
         (errno != EAGAIN && errno != EACCES && errno != EINTR);
}

void unlock(const platform::UniqueFd& file, off_t byte) {
  struct flock range = rangeOf(F_UNLCK, byte, 1);
  ::fcntl(file.get(), F_OFD_SETLK, &range);
}

/// A ticket that somebody else holds, out of `count` from `first` on; with 0 out of all.
std::optional<off_t> heldByAnother(const platform::UniqueFd& file, off_t first, off_t count) {
  struct flock range = rangeOf(F_WRLCK, first, count);
  const bool isHeld = ::fcntl(file.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
  return isHeld ? std::optional(range.l_start) : std::nullopt;
}

void pauseUntil(const platform::Deadline& deadline) {
  if (!deadline.pause()) throw Failure(errSecNotAvailable);
}

}  // namespace

WriterLock::WriterLock(const platform::PrivateFolder& folder, const platform::Deadline& deadline)
    : file_(valueOrThrow(folder.openOrMakeFile(writerLockName))) {
  while (!tryToLock(file_, issuing)) pauseUntil(deadline);
  off_t ticket = firstTicket;
  while (const auto held = heldByAnother(file_, ticket, 0)) ticket = *held + 1;
  static_cast<void>(tryToLock(file_, ticket));  // nobody else takes one meanwhile
  unlock(file_, issuing);
  while (ticket > firstTicket && heldByAnother(file_, firstTicket, ticket - firstTicket))
    pauseUntil(deadline);
}

}  // namespace quelto::keychain::embedded
