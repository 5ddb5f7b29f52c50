/* A library a hostile user plants in a working directory under the name of a real
 * dependency. Loading it at all runs its constructor, which leaves a marker file in the
 * working directory. */
#include <fcntl.h>
#include <unistd.h>

__attribute__((constructor)) static void leave_marker(void) {
  int fd = open("planted-library-was-loaded", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (fd >= 0) close(fd);
}
