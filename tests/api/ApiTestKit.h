// Helpers of the API, fault, tool and writer tests: scratch directories, file contents, generated
// acquisitions, and conversions through the exported functions (step by step) and handles.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "api/CvtSession.h"
#include "platform/Platform.h"
#include "samples/Samples.h"
#include "support/LittleEndian.h"
#include "travune/travune.h"

namespace travune::apitest {

namespace fs = std::filesystem;

inline std::string Contents(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <typename Bytes>
void Store(const fs::path& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

// Every entry below dir, directories included.
inline int EntriesBelow(const fs::path& dir) {
  int count = 0;
  std::error_code ignored;
  for (auto it = fs::recursive_directory_iterator(dir, ignored); it != fs::recursive_directory_iterator();
       it.increment(ignored)) {
    ++count;
  }
  return count;
}

inline samples::SampleSpec SampleOf(int type, int64_t scans, int64_t preTrig = 0, int chans = 0, bool packed = false,
                                    bool stamps = false) {
  samples::SampleSpec sample;
  sample.type = type;
  sample.scans = scans;
  sample.preTrig = preTrig;
  sample.chans = chans;
  sample.packed = packed;
  sample.stamps = stamps;
  return sample;
}

// A Morvane description of numChans counter channels (each value is its raw word) announcing
// progScans scans at rate scans per second.
inline std::vector<uint8_t> CounterDescription(int32_t numChans, uint32_t progScans, float rate) {
  std::vector<uint8_t> d(32 + 56 * static_cast<size_t>(numChans), 0);
  le::PutI32(&d[0], 5040);
  le::PutI32(&d[4], numChans);
  le::PutU32(&d[8], progScans);
  le::PutF32(&d[28], rate);
  for (size_t i = 0; i < static_cast<size_t>(numChans); ++i) {
    le::PutF32(&d[32 + 56 * i], 1.0f);       // gain
    le::PutI32(&d[32 + 56 * i + 8], 9);      // counter
    le::PutF32(&d[32 + 56 * i + 16], 1.0f);  // scale
  }
  return d;
}

struct NamedFormat {
  const char* name;
  int32_t id;
};

// Every target format, by the names the test listings give them.
inline constexpr NamedFormat kEveryFormat[] = {
    {"Halvard", TRAVUNE_FMT_HALVARD}, {"Ascii", TRAVUNE_FMT_ASCII},      {"SnapMaster", TRAVUNE_FMT_SNAPMASTER},
    {"DADiSP", TRAVUNE_FMT_DADISP},   {"DASYLab", TRAVUNE_FMT_DASYLAB},  {"DIAdem", TRAVUNE_FMT_DIADEM},
    {"Matlab", TRAVUNE_FMT_MATLAB},   {"Float32", TRAVUNE_FMT_FLOAT32},  {"Text", TRAVUNE_FMT_TEXT},
    {"Uff58Ascii", TRAVUNE_FMT_UFF58_ASCII}, {"Uff58Binary", TRAVUNE_FMT_UFF58_BINARY}, {"Wav", TRAVUNE_FMT_WAV},
    {"MEscope", TRAVUNE_FMT_MESCOPE}, {"Pernix", TRAVUNE_FMT_PERNIX},
};

// The format's name in test listings, instead of the bytes of the record.
inline void PrintTo(const NamedFormat& format, std::ostream* os) { *os << format.name; }

inline platform::LocalTime FixedClock() { return {2003, 1, 2, 14, 30, 5, 250}; }

// A fresh directory below the temporary one, removed with its contents.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (fs::temp_directory_path() / "travune-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) root_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ignored;
    if (!root_.empty()) fs::remove_all(root_, ignored);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  fs::path operator/(const std::string& name) const { return root_ / name; }
  std::string File(const std::string& name) const { return (root_ / name).string(); }
  const fs::path& Root() const { return root_; }

  // The sample written as name: its description and data file names.
  std::vector<std::string> Sample(const samples::SampleSpec& sample, const std::string& name) const {
    std::vector<std::string> files;
    std::string error;
    EXPECT_TRUE(samples::WriteSample(sample, File(name), &files, &error)) << error;
    return files;
  }

 private:
  fs::path root_;
};

// A scratch directory during whose life the conversion clock is fixed and TMPDIR names its
// "tmp", so that temporary files left over show.
class Scratch : public ScratchDir {
 public:
  explicit Scratch(platform::Clock clock = FixedClock) {
    fs::create_directories(Root() / "tmp");
    if (const char* previous = getenv("TMPDIR")) previousTmpDir_ = previous;
    setenv("TMPDIR", File("tmp").c_str(), 1);
    platform::SetClock(clock);
  }
  ~Scratch() {
    platform::SetClock(nullptr);
    if (previousTmpDir_) {
      setenv("TMPDIR", previousTmpDir_->c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }

  int TempFilesLeft() const { return EntriesBelow(Root() / "tmp"); }

 private:
  std::optional<std::string> previousTmpDir_;
};

// One acquisition's conversion through the exported functions (and its Data File Access
// session) in steps that a test drives one at a time, here or in a child process.
struct CvtSteps {
  std::string desc, data, header, output;
  int type = TRAVUNE_SRC_MORVANE;
  int32_t format = TRAVUNE_FMT_FLOAT32;
  uint32_t flags = 0;
  int64_t blockBytes = 4096;      // the first block's size, small so that a conversion takes several
  uint32_t first = 0, count = 0;  // the scan range; count 0: every scan
  int32_t dfaHandle = -1;

  CvtSteps() = default;
  CvtSteps(const std::vector<std::string>& files, std::string headerName, std::string outputName, int32_t fmt)
      : desc(files.at(0)), data(files.at(1)), header(std::move(headerName)), output(std::move(outputName)),
        format(fmt) {}

  int32_t Read() const { return cvtReadBinDescFile(desc.c_str(), data.c_str(), type); }
  int32_t Init() const {
    TheCvtSession().SetStartBlockBytes(blockBytes);
    const int32_t opened = cvtInitDataFileEx(header.c_str(), output.c_str(), format, flags);
    TheCvtSession().SetStartBlockBytes(0);
    if (opened == 0 && count > 0) cvtSetBinDataBlock(first, count, 0);
    return opened;
  }
  // Read and Init: 0, or the first failing status.
  int32_t Open() const {
    const int32_t size = Read();
    return size < 0 ? size : Init();
  }
  int32_t Block() const { return cvtConvertBinData(format); }
  int32_t Close() const {
    const int32_t closed = cvtCloseDataFile(format);
    cvtReleaseResources();
    return closed;
  }
  // Every step in turn: 0, or the status of the first that failed.
  int32_t Whole() const {
    int32_t status = Open();
    for (int32_t percent = 0, calls = 0; status == 0 && percent < 100 && calls < 1000000; ++calls) {
      percent = Block();
      if (percent < 0) status = percent;
    }
    const int32_t closed = Close();
    return status != 0 ? status : closed;
  }
  int32_t DfaOpen() { return dfaHandle = dfaOpen(desc.c_str(), sdMorvane); }
  int32_t DfaClose() const { return dfaClose(dfaHandle); }

  // o: Open, r: Read, b: Block, c: Close, d: DfaOpen, x: DfaClose.
  int32_t Run(char command) {
    switch (command) {
      case 'o': return Open();
      case 'r': return Read();
      case 'b': return Block();
      case 'c': return Close();
      case 'd': return DfaOpen();
      case 'x': return DfaClose();
    }
    return INT32_MIN;
  }
};

inline tvnConvOptions ConvOptions(int32_t format, const std::string& data, const char* header = nullptr) {
  tvnConvOptions options{};
  options.format = format;
  options.dataName = data.c_str();
  options.headerName = header;
  options.count = -1;
  return options;
}

// A whole conversion through the handle API: TVN_OK or the first failing status.
inline int32_t ConvertWithHandles(tvnAcq* acq, const tvnConvOptions& options) {
  tvnConv* conv = nullptr;
  int32_t status = tvnConvOpen(acq, &options, &conv);
  if (status == TVN_OK) status = tvnConvRun(conv, nullptr, nullptr);
  if (status == TVN_OK) status = tvnConvFinish(conv);
  tvnConvClose(conv);
  return status;
}

// The same with the acquisition opened for it; openStatus (when given) receives the open's status.
inline int32_t ConvertWithHandles(const std::vector<std::string>& files, int type, const tvnConvOptions& options,
                                  int32_t* openStatus = nullptr) {
  tvnAcq* acq = nullptr;
  const int32_t opened = tvnAcqOpen(files.at(0).c_str(), files.at(1).c_str(), type, &acq);
  if (openStatus != nullptr) *openStatus = opened;
  const int32_t status = opened == TVN_OK ? ConvertWithHandles(acq, options) : opened;
  tvnAcqClose(acq);
  return status;
}

}  // namespace travune::apitest
