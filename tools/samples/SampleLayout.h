// The file layout of one sample acquisition: its description bytes, its raw scans and its
// native scan times. One subclass per acquisition application.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "samples/Samples.h"

namespace travune::samples {

class SampleLayout {
 public:
  explicit SampleLayout(const SampleSpec& request) : spec_(request) {}
  virtual ~SampleLayout() = default;

  const SampleSpec& Request() const { return spec_; }

  virtual std::vector<uint8_t> Description() const = 0;
  virtual int NumChannels() const = 0;
  // Bytes of one raw scan (for packed data, of the unpacked scan).
  virtual int64_t ScanBytes() const = 0;
  // Bytes of the whole data file.
  virtual int64_t DataBytes() const { return spec_.scans * ScanBytes(); }

  // Appends the raw bytes of scans first .. first + count − 1 to out. first is a multiple of 4
  // (packed data needs whole six-byte groups); the last call may end anywhere.
  virtual void AppendScans(int64_t first, int64_t count, std::vector<uint8_t>* out) const = 0;

  // The native time of scan in days (see ExpectedScanTime).
  virtual double ScanTime(int64_t scan) const = 0;

  // The value the generator chose for chan at scan, in the channel's units, before encoding it
  // into the raw data (see PlainValuesOf).
  virtual double PlainValue(int64_t scan, int chan) const = 0;
  // How far a correct reading of chan may lie from its plain values: what the encoding into
  // raw codes loses (half a code step, one step of packed samples, the driver's rounding).
  virtual double Tolerance(int chan) const = 0;

 protected:
  // Grows out by bytes and returns where the new bytes start.
  static uint8_t* Grow(std::vector<uint8_t>* out, int64_t bytes);

 private:
  SampleSpec spec_;
};

// The layout for the sample's source type; null for a type that is not a source type.
std::unique_ptr<SampleLayout> MakeLayout(const SampleSpec& request);

// Seconds to days, as every source counts relative times.
inline double SecondsToDays(double seconds) { return seconds / 86400.0; }

}  // namespace travune::samples
