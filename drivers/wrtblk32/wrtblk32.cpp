// The library's entry points: each checks its addresses, forwards to the one process-wide data
// block and turns anything thrown inside into a non-zero result.
#include "wrtblk32.h"

#include "DataBlock.h"
#include "FailOnDemand.h"

namespace wrtblk32 {
namespace {

constexpr int16_t kVersion = 3;

DataBlock& TheBlock() {
  static DataBlock block;
  return block;
}

// Runs body as the entry named entry: the test build may answer for it first.
template <class Body>
int16_t Call(const char* entry, Body body) {
  if (const std::optional<int16_t> injected = InjectedResult(entry)) return *injected;
  try {
    return body(TheBlock());
  } catch (...) {
    return kNoMemory;
  }
}

}  // namespace
}  // namespace wrtblk32

using wrtblk32::Call;
using wrtblk32::DataBlock;
using wrtblk32::kOk;
using wrtblk32::kRefused;

extern "C" {

int16_t INITIALIZEWRTBLOCK(void) {
  return Call("INITIALIZEWRTBLOCK", [](DataBlock& block) {
    block.Reset();
    return kOk;
  });
}

int16_t GETWRTBLOCKVERSION(void) {
  return Call("GETWRTBLOCKVERSION", [](DataBlock&) { return wrtblk32::kVersion; });
}

int16_t SETDATABLOCKXAXISSPACING(const int16_t* spacing) {
  return Call("SETDATABLOCKXAXISSPACING",
              [&](DataBlock& block) { return spacing != nullptr ? block.SetSpacing(*spacing) : kRefused; });
}

int16_t SETDATABLOCKTRACEDATAFORMAT(const int16_t* format) {
  return Call("SETDATABLOCKTRACEDATAFORMAT",
              [&](DataBlock& block) { return format != nullptr ? block.SetDataFormat(*format) : kRefused; });
}

int16_t SETDATABLOCKNUMBEROFTRACES(const int32_t* traces) {
  return Call("SETDATABLOCKNUMBEROFTRACES",
              [&](DataBlock& block) { return traces != nullptr ? block.SetNumTraces(*traces) : kRefused; });
}

int16_t SETDATABLOCKNUMBEROFSAMPLES(const int32_t* samples) {
  return Call("SETDATABLOCKNUMBEROFSAMPLES",
              [&](DataBlock& block) { return samples != nullptr ? block.SetNumSamples(*samples) : kRefused; });
}

int16_t SETDATABLOCKXAXISSTART(const int32_t* start) {
  return Call("SETDATABLOCKXAXISSTART", [&](DataBlock& block) {
    if (start == nullptr) return kRefused;
    block.SetXStart(*start);
    return kOk;
  });
}

int16_t SETDATABLOCKXAXISINCREMENT(const float* increment) {
  return Call("SETDATABLOCKXAXISINCREMENT", [&](DataBlock& block) {
    if (increment == nullptr) return kRefused;
    block.SetXIncrement(*increment);
    return kOk;
  });
}

int16_t SETDATABLOCKLABEL(const char* label) {
  return Call("SETDATABLOCKLABEL", [&](DataBlock& block) {
    if (label == nullptr) return kRefused;
    block.SetLabel(label);
    return kOk;
  });
}

int16_t SETDATABLOCKXAXISUNITS(const char* units) {
  return Call("SETDATABLOCKXAXISUNITS", [&](DataBlock& block) {
    if (units == nullptr) return kRefused;
    block.SetXUnits(units);
    return kOk;
  });
}

int16_t SETDATABLOCKMEASUREMENTTYPE(const int16_t* type) {
  return Call("SETDATABLOCKMEASUREMENTTYPE",
              [&](DataBlock& block) { return type != nullptr ? block.SetMeasurementType(*type) : kRefused; });
}

int16_t SETDATABLOCKPEAKRMS(const int16_t* code) {
  return Call("SETDATABLOCKPEAKRMS", [&](DataBlock&) { return code != nullptr ? kOk : kRefused; });
}

int16_t SETTRACELABEL(const int16_t* trace, const char* label) {
  return Call("SETTRACELABEL", [&](DataBlock& block) {
    return trace != nullptr && label != nullptr ? block.SetTraceLabel(*trace, label) : kRefused;
  });
}

int16_t SETTRACEMEASUREMENTUNITS(const int16_t* trace, const char* units) {
  return Call("SETTRACEMEASUREMENTUNITS", [&](DataBlock& block) {
    return trace != nullptr && units != nullptr ? block.SetTraceUnits(*trace, units) : kRefused;
  });
}

int16_t SETDATABLOCKXAXISVALUE(int32_t sample, const float* x) {
  return Call("SETDATABLOCKXAXISVALUE",
              [&](DataBlock& block) { return x != nullptr ? block.SetXValue(sample, *x) : kRefused; });
}

int16_t SETTRACESAMPLEVALUE(const int16_t* trace, int32_t sample, const float* value, const float* imaginary) {
  return Call("SETTRACESAMPLEVALUE", [&](DataBlock& block) {
    return trace != nullptr && value != nullptr && imaginary != nullptr ? block.SetSampleValue(*trace, sample, *value)
                                                                        : kRefused;
  });
}

int16_t OUTPUTDATABLOCK(const char* path) {
  return Call("OUTPUTDATABLOCK", [&](DataBlock& block) { return block.Output(path); });
}

}  // extern "C"
