// Synthetic acquisitions of every source type, written from the applications' file layouts,
// with documented waveforms so that converted numbers can be checked by eye or by a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace travune::samples {

// What to generate. type is a source type id: 2 Brenlow, 3 Morvane, 4 Tarquil, 5 Quillon,
// 6 Celdrin, 7 Vexmoor, 8 Threnix.
struct SampleSpec {
  int type = 3;
  int64_t scans = 1000;
  int chans = 0;        // total channels wanted; the type's own channel set is always present
  bool packed = false;  // Tarquil only: 12-bit samples packed four to six bytes
  bool stamps = false;  // Brenlow family: time-stamp records; Celdrin: clock stamp in every scan
  int64_t preTrig = 0;  // pre-trigger scans (index of the trigger scan)
};

// True when the requested sample can be written; otherwise false with the reason in error.
bool CheckSpec(const SampleSpec& request, std::string* error);

// Writes the description file and the data file of the sample at prefix (OUT.DSC and OUT.bin, or
// OUT.HX$ and OUT.hxt for Celdrin), in large chunks. written receives both paths. On any
// failure both files are removed and error says what went wrong.
bool WriteSample(const SampleSpec& request, const std::string& prefix, std::vector<std::string>* written,
                 std::string* error);

// The description and data file names WriteSample uses for prefix.
std::string DescFileName(const SampleSpec& request, const std::string& prefix);
std::string DataFileName(const SampleSpec& request, const std::string& prefix);

// User channels of the sample (time-stamp records are no channels), and the data-file size.
int NumChannels(const SampleSpec& request);
int64_t DataFileBytes(const SampleSpec& request);

// The values the generator chose for scans first .. first + count − 1 before it encoded them
// into raw codes (a sine in volts, a ramp of temperatures, a counter), scan-major with chans
// values per scan, and per channel the tolerance a correct reading keeps to them.
struct PlainValues {
  int chans = 0;
  std::vector<double> values;
  std::vector<double> tolerances;
};
PlainValues PlainValuesOf(const SampleSpec& request, int64_t first, int64_t count);

// The time of scan in the source's native form, in days: relative to the trigger scan, or an
// Automation date (days since 30 December 1899) for sources with absolute times.
double ExpectedScanTime(const SampleSpec& request, int64_t scan);

}  // namespace travune::samples
