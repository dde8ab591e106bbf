// The sample options of "travune sample" (--type, --scans, --chans, --packed, --stamps,
// --pretrig) turned into a sample request.
#pragma once

#include <string>

#include "ArgParser.h"
#include "samples/Samples.h"

namespace travune::cli {

// Declares --type, --scans, --chans, --pretrig, --packed and --stamps.
void DeclareSampleOptions(ArgParser* parser);

// Fills the sample request from the parsed options (--type included); false with error for a bad value or a
// combination the type cannot hold.
bool ReadSampleOptions(const ArgParser& parser, samples::SampleSpec* request, std::string* error);

}  // namespace travune::cli
