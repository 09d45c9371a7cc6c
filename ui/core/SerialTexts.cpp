#include "ui/core/SerialTexts.h"

namespace loom {

std::string DataStopBitsRefusal(const std::string& dataBits, const std::string& stopBits) {
  // "youre" is the message as users know it: kept.
  return "The combination of " + dataBits + " databits and " + stopBits +
         " stop bits is not supported by youre hardware.";
}

const char* InputModeDescription(TPortInputOperationModes mode) {
  switch (mode) {
    case iomFixedCharNumber:
      return "As soon as the port has received at least SerialInputCount characters, they are "
             "stored in the system variable SerialInput as one string and the formula is "
             "evaluated once, unless a formula set SerialInputTrigger to FALSE. SerialInputMode "
             "holds the input mode (SERIAL_RECEIVE_FIXED_NUMBER_OF_BYTES).";
    case iomEOLSequenze:
      return "Each time the port has received the end-of-line sequence below "
             "(SerialInputEOLSequence), the characters up to and including it are stored in the "
             "system variable SerialInput as one string and the formula is evaluated once, "
             "unless a formula set SerialInputTrigger to FALSE. SerialInputMode holds the input "
             "mode (SERIAL_WAIT_FOR_BYTE_SEQUENCE).";
    default:
      return "Serial input is not enabled.";
  }
}

}  // namespace loom
