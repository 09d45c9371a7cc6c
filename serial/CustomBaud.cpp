#include "serial/CustomBaud.h"

#include <asm/termbits.h>
#include <sys/ioctl.h>

namespace loom {

bool SetOtherBaudRate(int fd, std::int32_t rate) {
  if (rate <= 0) return false;
  struct termios2 line {};
  if (ioctl(fd, TCGETS2, &line) != 0) return false;
  // The input rate follows the output rate unless its own field says otherwise: set both.
  line.c_cflag &= ~(CBAUD | (CBAUD << IBSHIFT));
  line.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
  line.c_ispeed = static_cast<speed_t>(rate);
  line.c_ospeed = static_cast<speed_t>(rate);
  return ioctl(fd, TCSETS2, &line) == 0;
}

std::int32_t ReadBaudRate(int fd) {
  struct termios2 line {};
  if (ioctl(fd, TCGETS2, &line) != 0) return 0;
  return static_cast<std::int32_t>(line.c_ospeed);
}

}  // namespace loom
