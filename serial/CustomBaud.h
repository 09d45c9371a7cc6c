// Baud rates outside the termios table (14400, 128000 and any other rate a driver may accept).
//
// glibc's termios knows only the rates that have a Bnnn constant, and 14400 and 128000 have
// none. The kernel takes any rate through its termios2 interface with the BOTHER flag, but the
// kernel's <asm/termbits.h> declares its own struct termios, which clashes with glibc's
// <termios.h>. So this pair of functions lives in a file of its own that includes only the
// kernel's header; the rest of the serial layer keeps to glibc's termios.
#pragma once

#include <cstdint>

namespace loom {

// Sets the input and output rate of the open line to rate bits per second through BOTHER,
// leaving every other setting as it is. False when the driver refuses.
bool SetOtherBaudRate(int fd, std::int32_t rate);

// The output rate the line runs at, however it was set (a Bnnn constant or BOTHER); 0 when the
// line cannot be read.
std::int32_t ReadBaudRate(int fd);

}  // namespace loom
