// ME'scope writer: the WrtBlk32 library is loaded by module name, every entry point looked up
// by name, numbers passed by address (the sample number by value), 16-bit results with 0 for
// success. Failures are reported to the user in the library's own words.
#include "writer/TgtFmtMEscope.h"

#include <cctype>
#include <climits>
#include <string>
#include <utility>

#include "support/TextUtil.h"
#include "support/Time.h"

namespace travune {

namespace {

using TextEntry = int16_t (*)(const char*);
using Int16Entry = int16_t (*)(const int16_t*);
using Int32Entry = int16_t (*)(const int32_t*);
using FloatEntry = int16_t (*)(const float*);
using TraceTextEntry = int16_t (*)(const int16_t*, const char*);
using XValueEntry = int16_t (*)(int32_t, const float*);
using SampleValueEntry = int16_t (*)(const int16_t*, int32_t, const float*, const float*);

constexpr int16_t kLowestVersion = 3;
constexpr int16_t kUniformSpacing = 1;
constexpr int16_t kNonUniformSpacing = 2;
constexpr int16_t kRealData = 0;
constexpr int16_t kTimeWaveform = 1;
constexpr int16_t kPeakRmsSetting = 1245;

constexpr const char* kLoadFailed = "Failed to load Vibrant Technologies WrtBlk32 DLL.";
constexpr const char* kVersionTooOld = "Vibrant Technologies WrtBlk32 DLL must be version 3.0 or later.";
constexpr const char* kMultipleTimeBases =
    "Selected data uses multiple timebases, but relative time data not supported.";
constexpr const char* kTooLarge = "Data set selected for conversion is too large for available PC memory.";
constexpr const char* kCallFailed = "Failed call to Vibrant Technologies WrtBlk32 DLL.";
constexpr const char* kWriteFailed = "Failed to write converted data disk.";

// An entry point the library does not have: handled like a fault inside the library.
struct MissingEntry {};

// A message box with no owner, the system's caption and an OK button.
void Tell(const char* text) { platform::ShowMessage(nullptr, text); }

// text without blanks, tabs, line feeds and carriage returns at either end.
std::string Trimmed(const char* text) {
  std::string copy = text != nullptr ? text : "";
  Trim(copy.data(), kWhiteSpace, kWhiteSpace);
  copy.resize(std::char_traits<char>::length(copy.c_str()));
  return copy;
}

// text upper-cased by the thread's locale (the user's inside every library call).
std::string UpperCased(const char* text) {
  std::string upper = text;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

}  // namespace

TgtFmtMEscope::TgtFmtMEscope(SrcFmt* source, std::string moduleName)
    : TgtFmt(source), moduleName_(std::move(moduleName)) {
  outputBytesPerScan_ = 5 * static_cast<int64_t>(NumChans());
  ok_ = true;
}

TgtFmtMEscope::~TgtFmtMEscope() { Unload(); }

template <class Fn>
Fn TgtFmtMEscope::Entry(const char* name) const {
  void* address = platform::FindSymbol(module_, name);
  if (address == nullptr) throw MissingEntry{};
  return reinterpret_cast<Fn>(address);
}

bool TgtFmtMEscope::PreConvert(const char* dataName, platform::File* dataFile, platform::File*, int64_t) {
  module_ = platform::LoadModule(moduleName_.c_str());
  if (module_ == nullptr) {
    Tell(kLoadFailed);
    return false;
  }
  // A missing entry point, or anything the library throws, stops the description here.
  bool described = false;
  try {
    described = DescribeBlock(dataName);
  } catch (...) {
    CallReinitialise();
    Tell(kCallFailed);
    return false;
  }
  if (!described) return false;
  dataFile->Close();
  tookDataFile_ = true;
  return true;
}

bool TgtFmtMEscope::DescribeBlock(const char* dataName) {
  if (dataPath_.Compose(dataName) == nullptr) return false;
  chans_ = NumChans();
  reinitialise_ = Entry<NoArgEntry>("INITIALIZEWRTBLOCK");
  reinitialise_();
  if (Entry<NoArgEntry>("GETWRTBLOCKVERSION")() < kLowestVersion) {
    Tell(kVersionTooOld);
    return false;
  }
  oneTimeBase_ = source_->GetPreTrigRate() == source_->GetPostTrigRate();
  if (!oneTimeBase_ && !source_->NativeTimeFormat().timed) {
    Tell(kMultipleTimeBases);
    return false;
  }
  const int16_t spacing = oneTimeBase_ ? kUniformSpacing : kNonUniformSpacing;
  if (Entry<Int16Entry>("SETDATABLOCKXAXISSPACING")(&spacing) != 0) return false;
  if (Entry<Int16Entry>("SETDATABLOCKTRACEDATAFORMAT")(&kRealData) != 0) return false;
  if (Entry<Int32Entry>("SETDATABLOCKNUMBEROFTRACES")(&chans_) != 0) return false;
  // A count beyond 32 bits is passed as the largest one, which no block can hold either.
  const int64_t scans = source_->GetNumScans();
  const int32_t samples = static_cast<int32_t>(scans > INT32_MAX ? INT32_MAX : scans);
  if (Entry<Int32Entry>("SETDATABLOCKNUMBEROFSAMPLES")(&samples) != 0) {
    Tell(kTooLarge);
    return false;
  }
  const int64_t preTrig = source_->GetPreTrigCount();
  const int32_t start = static_cast<int32_t>(preTrig > INT32_MAX ? INT32_MAX : preTrig);
  Entry<Int32Entry>("SETDATABLOCKXAXISSTART")(&start);
  if (oneTimeBase_) {
    const float increment = static_cast<float>(1.0 / source_->GetPreTrigRate());
    Entry<FloatEntry>("SETDATABLOCKXAXISINCREMENT")(&increment);
  }
  Entry<TextEntry>("SETDATABLOCKLABEL")(UpperCased(dataPath_.BaseName()).c_str());
  Entry<TextEntry>("SETDATABLOCKXAXISUNITS")("Seconds");
  Entry<Int16Entry>("SETDATABLOCKMEASUREMENTTYPE")(&kTimeWaveform);
  Entry<Int16Entry>("SETDATABLOCKPEAKRMS")(&kPeakRmsSetting);
  return DescribeTraces();
}

bool TgtFmtMEscope::DescribeTraces() {
  const auto setLabel = Entry<TraceTextEntry>("SETTRACELABEL");
  const auto setUnits = Entry<TraceTextEntry>("SETTRACEMEASUREMENTUNITS");
  for (int32_t chan = 0; chan < chans_; ++chan) {
    const int16_t trace = static_cast<int16_t>(chan + 1);
    if (setLabel(&trace, Trimmed(source_->GetChanLabel(chan)).c_str()) != 0) return false;
    if (setUnits(&trace, Trimmed(source_->GetChanUnits(chan)).c_str()) != 0) return false;
  }
  return true;
}

int64_t TgtFmtMEscope::ConvertDataBlock(int64_t scans, OutputArea&, int64_t firstScan) {
  if (module_ == nullptr || scans <= 0) return 0;
  try {
    return FeedBlock(scans, firstScan);
  } catch (...) {
    return 0;
  }
}

int64_t TgtFmtMEscope::FeedBlock(int64_t scans, int64_t firstScan) {
  const double* values = ScaleBlock(firstScan, scans);
  if (values == nullptr) return -1;
  const XValueEntry setX = oneTimeBase_ ? nullptr : Entry<XValueEntry>("SETDATABLOCKXAXISVALUE");
  const auto setValue = Entry<SampleValueEntry>("SETTRACESAMPLEVALUE");
  const TimeFormat native = source_->NativeTimeFormat();
  const int64_t stride = NumChans();
  const float zero = 0.0f;
  for (int64_t i = 0; i < scans; ++i) {
    const int64_t scan = firstScan + i;
    const int32_t sample = static_cast<int32_t>(scan + 1);
    double days = 0.0;
    if (setX != nullptr && source_->GetScanTime(scan, &days, &native)) {
      const float seconds = static_cast<float>(DaysToSeconds(days));
      if (setX(sample, &seconds) != 0) return 0;
    }
    const double* scanValues = values + i * stride;
    for (int32_t chan = 0; chan < chans_; ++chan) {
      const int16_t trace = static_cast<int16_t>(chan + 1);
      const float value = static_cast<float>(scanValues[chan]);
      if (setValue(&trace, sample, &value, &zero) != 0) return -1;
    }
  }
  return 0;
}

bool TgtFmtMEscope::PostConvert() {
  if (module_ != nullptr) {
    if (void* output = platform::FindSymbol(module_, "OUTPUTDATABLOCK")) {
      const char* path = dataPath_.Compose(nullptr);
      const auto write = reinterpret_cast<TextEntry>(output);
      int16_t result = 0;
      try {
        result = write(path != nullptr ? path : "");
      } catch (...) {
        result = -1;
      }
      if (result != 0) Tell(kWriteFailed);
    }
  }
  CallReinitialise();
  reinitialise_ = nullptr;
  Unload();
  return true;
}

void TgtFmtMEscope::CallReinitialise() {
  if (reinitialise_ == nullptr) return;
  try {
    reinitialise_();
  } catch (...) {
    // The block is reset again before the next use; nothing more can be done here.
  }
}

void TgtFmtMEscope::Unload() {
  platform::FreeModule(module_);
  module_ = nullptr;
}

}  // namespace travune
