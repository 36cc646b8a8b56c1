#include "platform/files/ownership.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quelto::platform {
namespace {

bool isOurs(const struct stat& status) { return status.st_uid == ::geteuid(); }

bool hasMode(const struct stat& status, mode_t mode) { return (status.st_mode & ACCESSPERMS) == mode; }

}  // namespace

bool isPrivateFolder(const struct stat& status) {
  // SECURITY: whoever else may write to the folder can replace our database and key by their own and receives
  // the passwords that are saved next; whoever may read it copies both.
  return S_ISDIR(status.st_mode) && isOurs(status) && hasMode(status, S_IRWXU);
}

bool isPrivateFile(const struct stat& status) {
  // SECURITY: a key or a database that others may read, or have written, gives them every password in it.
  return S_ISREG(status.st_mode) && isOurs(status) && hasMode(status, S_IRUSR | S_IWUSR);
}

bool isOwnFile(const struct stat& status) { return S_ISREG(status.st_mode) && isOurs(status); }

bool isOwnSocket(const struct stat& status) { return S_ISSOCK(status.st_mode) && isOurs(status); }

bool isOwnLink(const struct stat& status) {
  // SECURITY: whoever else could make a link that we follow would choose which of our files we overwrite.
  return S_ISLNK(status.st_mode) && isOurs(status);
}

bool isWrittenByUsAlone(const struct stat& status) {
  // SECURITY: whoever else can write to a runtime folder could put a socket there and be given our secrets.
  return S_ISDIR(status.st_mode) && isOurs(status) && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

bool isTrusted(const struct stat& status) {
  // SECURITY: such a file names programs that we run; a local user who can plant or change it runs code as
  // this user.
  return (isOurs(status) || status.st_uid == 0) && (status.st_mode & S_IWOTH) == 0;
}

}  // namespace quelto::platform
