// Writes an input's description and data file into the scratch directory under the names a
// source type's files have (the data file beside the description, as Data File Access finds it).
#pragma once

#include <string>

#include "AcquisitionImage.h"
#include "ScratchDir.h"

namespace travune::fuzz {

struct AcquisitionFiles {
  std::string desc;
  std::string data;
};

inline AcquisitionFiles WriteAcquisition(const ScratchDir& dir, int32_t sourceType, const AcquisitionImage& image) {
  const bool celdrin = sourceType == kCeldrinSourceType;
  const char* descName = celdrin ? "acq.HX$" : "acq.DSC";
  const char* dataName = celdrin ? "acq.hxt" : "acq.bin";
  dir.Write(descName, image.desc, image.descSize);
  dir.Write(dataName, image.data, image.dataSize);
  return {dir.Path(descName), dir.Path(dataName)};
}

}  // namespace travune::fuzz
