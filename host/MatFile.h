// MAT files through libmatio, as users of the engine bridge keep their data: every real numeric
// vector is one channel named after its variable, in the file's order. A vector named "time" or
// "t" is the time axis; otherwise a scalar named "fs" or "SampleRate" gives the sample rate
// (else the source's Rate, else 1 per second). Other variables (texts, structures, matrices)
// are left alone.
#pragma once

#include <memory>
#include <string>

#include "host/DataBlock.h"

namespace loom {

// Reads the whole file; raises EInputError for a file that cannot be read, channels of
// different lengths or a file without any channel.
std::unique_ptr<TDataSource> OpenMatSource(const std::string& path, const std::string& shown,
                                           double rate);

}  // namespace loom
