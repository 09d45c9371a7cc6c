// The pure helpers of the termios layer; the line itself is exercised through the port's tests.
#include <gtest/gtest.h>

#include "serial/Termios.h"

namespace loom {
namespace {

TEST(TermiosTest, WritesMayStallTwiceAKernelBufferAtTheLinesRate) {
  struct Row {
    TPortParams params;
    std::int32_t bits;
    std::int64_t stallMs;
  };
  for (const Row& row : {Row{{-1, 9600, 8, kStopBitsOne, kParityNone, fcNone}, 10, 9533},
                         Row{{-1, 115200, 7, kStopBitsTwo, kParityEven, fcNone}, 11, 1782},
                         Row{{-1, 0, 8, kStopBitsOneAndHalf, kParityNone, fcNone}, 11, 1803240}}) {
    EXPECT_EQ(BitsPerFrame(row.params), row.bits);
    EXPECT_EQ(WriteStallTimeoutMs(row.params.BaudRate, row.bits), row.stallMs);
  }
}

}  // namespace
}  // namespace loom
