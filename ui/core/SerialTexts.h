// What the serial page says: the refusal of a data-bits/stop-bits pair and the description of
// each input mode.
#pragma once

#include <string>

#include "serial/SerialTypes.h"

namespace loom {

// The description panel's text when the port's driver does not keep the pair.
std::string DataStopBitsRefusal(const std::string& dataBits, const std::string& stopBits);

// The description of an input mode, naming the system variables a formula reads in that mode.
const char* InputModeDescription(TPortInputOperationModes mode);

}  // namespace loom
