/* Stands in for a login shell without a profile that is asked where ssh is. */
#include <unistd.h>

int main(void) {
  static const char answer[] = TRIVIAL_SSH "\n";
  return write(STDOUT_FILENO, answer, sizeof answer - 1) == (ssize_t)(sizeof answer - 1) ? 0 : 1;
}
