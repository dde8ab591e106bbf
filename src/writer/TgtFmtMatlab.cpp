// Level 4 MAT-file: a 20-byte matrix header and the name "A", then the real part column by
// column. A block's rows are rearranged channel by channel in the output area and each channel's
// run is written straight into its column, so blocks may come in any order.
#include "writer/TgtFmtMatlab.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>

#include "support/FilePath.h"
#include "support/LittleEndian.h"
#include "support/NumberText.h"

namespace travune {

namespace {

constexpr uint64_t kMatrixHeaderBytes = 22;
constexpr uint64_t kValueBytes = 8;
// Scans transposed into the columns per step: one 64-byte cache line of each column.
constexpr size_t kScansPerTransposeStep = 8;

// Type 0 (little-endian IEEE doubles, full numeric matrix), rows, columns, no imaginary part,
// and the name "A" with its terminator.
std::array<uint8_t, kMatrixHeaderBytes> MatrixHeader(uint32_t rows, uint32_t columns) {
  std::array<uint8_t, kMatrixHeaderBytes> h{};
  le::PutU32(&h[0], 0);
  le::PutU32(&h[4], rows);
  le::PutU32(&h[8], columns);
  le::PutU32(&h[12], 0);
  le::PutU32(&h[16], 2);
  h[20] = 'A';
  h[21] = '\0';
  return h;
}

// Where the value of scan (row) lies in column chan.
uint64_t ValueOffset(int64_t totalScans, int32_t chan, int64_t scan) {
  return kMatrixHeaderBytes +
         kValueBytes * (static_cast<uint64_t>(chan) * static_cast<uint64_t>(totalScans) + static_cast<uint64_t>(scan));
}

}  // namespace

TgtFmtMatlab::TgtFmtMatlab(SrcFmt* source) : TgtFmt(source) {
  outputBytesPerScan_ = static_cast<int64_t>(kValueBytes) * NumChans();
  headerFile_ = true;
  ok_ = true;
}

bool TgtFmtMatlab::PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                              int64_t totalScans) {
  dataFile_ = nullptr;
  totalScans_ = totalScans;
  outputBytesPerScan_ = static_cast<int64_t>(kValueBytes) * NumChans();
  const int32_t chans = NumChans();
  const uint64_t cells = static_cast<uint64_t>(totalScans) * static_cast<uint64_t>(chans);
  if (dataFile == nullptr || headerFile == nullptr || dataName == nullptr || chans < 0 || totalScans < 0 ||
      totalScans > std::numeric_limits<uint32_t>::max() || cells > (UINT64_MAX - kMatrixHeaderBytes) / kValueBytes) {
    return false;
  }
  // The text names the file by its base name alone; a base name too long for a file-name part
  // is refused rather than cut.
  const char* slash = platform::LastPathSeparator(dataName);
  FilePath data;
  if (data.Compose(slash != nullptr ? slash + 1 : dataName) == nullptr) return false;
  const std::string text =
      FormatC("The file %s.MAT contains the acquisition data in a matrix format.\r\nThe matrix name is: A.\r\n",
              data.BaseName());
  if (!headerFile->Write(text.data(), text.size())) return false;

  const auto header = MatrixHeader(static_cast<uint32_t>(totalScans), static_cast<uint32_t>(chans));
  // Rows that no block reaches (a scan range) read as zeros, and the matrix is complete.
  if (!dataFile->WriteAt(0, header.data(), header.size()) ||
      !dataFile->Resize(kMatrixHeaderBytes + kValueBytes * cells)) {
    return false;
  }
  dataFile_ = dataFile;
  return true;
}

int64_t TgtFmtMatlab::ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) {
  if (dataFile_ == nullptr) return -1;
  if (scans <= 0) return 0;
  // A block outside the rows would overwrite the next column.
  if (firstScan < 0 || firstScan > totalScans_ || scans > totalScans_ - firstScan) return -1;
  const int32_t chans = NumChans();
  const size_t run = static_cast<size_t>(scans) * kValueBytes;
  const double* values = ScaleBlock(firstScan, scans);
  uint8_t* columns = out.At(0, run * static_cast<size_t>(chans));
  if (values == nullptr || columns == nullptr) return -1;
  // Eight scans at a time: each column gets a whole cache line per step while the eight scans'
  // values stay in the cache. A store per column per scan kept evicting lines, as the columns
  // lie a multiple of a page apart and share cache sets.
  const size_t stride = static_cast<size_t>(chans);
  for (size_t first = 0; first < static_cast<size_t>(scans); first += kScansPerTransposeStep) {
    const size_t n = std::min(kScansPerTransposeStep, static_cast<size_t>(scans) - first);
    for (size_t c = 0; c < stride; ++c) {
      uint8_t* column = columns + c * run + first * kValueBytes;
      const double* value = values + first * stride + c;
      for (size_t s = 0; s < n; ++s) le::PutF64(column + s * kValueBytes, value[s * stride]);
    }
  }
  // Whole columns lie back to back in the file: one write. Otherwise one write per column.
  if (scans == totalScans_) {
    return dataFile_->WriteAt(ValueOffset(totalScans_, 0, 0), columns, run * static_cast<size_t>(chans)) ? 0 : -1;
  }
  for (int32_t c = 0; c < chans; ++c) {
    if (!dataFile_->WriteAt(ValueOffset(totalScans_, c, firstScan), columns + static_cast<size_t>(c) * run, run)) {
      return -1;
    }
  }
  return 0;
}

}  // namespace travune
