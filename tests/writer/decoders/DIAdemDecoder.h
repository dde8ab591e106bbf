// Reads a DIAdem header (.DAT) and data file (.R32) back: the channels' floats, scan after scan,
// and the time of each scan, from the explicit time channel or from the implicit start and step.
#pragma once

#include <string>
#include <vector>

#include "writer/decoders/Decoded.h"

namespace travune::testing {

// The data channels (every channel header after the first, which describes the time).
Decoded DecodeDIAdem(const std::string& dataPath, const std::string& headerPath);

// Each scan's time as the files state it (seconds, or scans for a counting time channel); empty
// when the files cannot be decoded.
std::vector<double> DecodeDIAdemTimes(const std::string& dataPath, const std::string& headerPath);

}  // namespace travune::testing
