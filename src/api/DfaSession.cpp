// Opening a Data File Access session (type detection, both files held, source built) and its
// reads: raw blocks of the data file scaled into floats, and scan times.
#include "api/DfaSession.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "api/FormatRegistry.h"
#include "api/SourceGuess.h"
#include "source/DescReader.h"
#include "support/FilePath.h"

namespace travune {

// A session's source data type is the source type id it builds.
static_assert(int{sdBrenlow} == TRAVUNE_SRC_BRENLOW && int{sdMorvane} == TRAVUNE_SRC_MORVANE &&
              int{sdTarquil} == TRAVUNE_SRC_TARQUIL && int{sdQuillon} == TRAVUNE_SRC_QUILLON &&
              int{sdCeldrin} == TRAVUNE_SRC_CELDRIN);

namespace {

// Blocks are read at byte positions below 2^31: positions are 32-bit signed for callers.
constexpr int64_t kByteOffsetLimit = int64_t{1} << 31;

bool HasExtension(const char* extension, const char* wanted) {
  return extension[0] == '.' && strcasecmp(extension + 1, wanted) == 0;
}

// The first type, in the recognisers' order, whose descriptions carry this extension and whose
// recogniser accepts the image; 0 when none does.
int32_t DetectSourceType(const uint8_t* image, size_t size, const char* extension) {
  for (const FormatRow* row : RecognisersInOrder()) {
    if (!HasExtension(extension, row->ext2)) continue;
    DescReader reader(image, size);
    if (row->recognise(reader, extension)) return row->id;
  }
  return 0;
}

// The type to build for sdtType: itself for an explicit type, the detected one for sdUnknown;
// 0 for none.
int32_t ChooseSourceType(int32_t sdtType, const uint8_t* image, size_t size, const char* extension) {
  if (sdtType == sdUnknown) return DetectSourceType(image, size, extension);
  return sdtType >= sdBrenlow && sdtType <= sdCeldrin ? sdtType : 0;
}

int32_t StatusOfOpen(Acquisition::Status status) {
  switch (status) {
    case Acquisition::Status::kOk: return errNoError;
    case Acquisition::Status::kDataOpen: return errInvalidFileName;
    case Acquisition::Status::kInvalid: return errBadHeaderFormat;
    // The type is one the registry builds: no source means no memory for it.
    case Acquisition::Status::kUnknownType:
    case Acquisition::Status::kNoMemory: return errMemoryAllocation;
    default: return errFileRead;
  }
}

// True when wanted scans of valuesPerScan floats can be written at out; the size is counted in
// 64 bits and a size beyond them is not writable.
bool IsWritableFor(float* out, uint64_t valuesPerScan, uint64_t wanted) {
  uint64_t bytes = 0;
  if (__builtin_mul_overflow(valuesPerScan, wanted, &bytes) || __builtin_mul_overflow(bytes, 4u, &bytes)) return false;
  if (bytes > std::numeric_limits<size_t>::max()) return false;
  return bytes == 0 || platform::IsWritableMemory(out, static_cast<size_t>(bytes));
}

}  // namespace

DfaSession::DfaSession(const char* descName, int32_t sdtType) : sourceDataType_(sdtType) {
  const std::string& separator = platform::UserNumberConventions().listSeparator;
  if (!separator.empty()) {
    std::strncpy(listSeparator_, separator.c_str(), sizeof listSeparator_ - 1);
    listSeparator_[sizeof listSeparator_ - 1] = '\0';
  }
  openStatus_ = Open(descName, sdtType);
  if (openStatus_ != errNoError) acquisition_.Close();
}

int32_t DfaSession::Open(const char* descName, int32_t sdtType) {
  FilePath path;
  if (descName == nullptr || path.Compose(descName) == nullptr) return errInvalidFileName;
  descName_ = descName;
  platform::File desc = platform::File::OpenRead(descName);
  if (!desc.IsOpen()) return errInvalidFileName;
  try {
    return OpenDescription(std::move(desc), path.Extension(), sdtType);
  } catch (...) {
    // A parser or recogniser that gave up half-way: the description is not of the type.
    return errInvalidDataType;
  }
}

int32_t DfaSession::OpenDescription(platform::File desc, const char* extension, int32_t sdtType) {
  std::unique_ptr<uint8_t[]> image;
  size_t size = 0;
  const Acquisition::Status read = ReadWholeFile(desc, &image, &size);
  if (read != Acquisition::Status::kOk) return read == Acquisition::Status::kNoMemory ? errMemoryAllocation : errFileRead;
  const int32_t type = ChooseSourceType(sdtType, image.get(), size, extension);
  if (type == 0) return errInvalidDataType;
  sourceDataType_ = type;
  dataName_ = DataFileNameFor(descName_.c_str(), type);
  SourceContext context;
  context.listSeparator = listSeparator_;
  const Acquisition::Status opened = acquisition_.OpenHeld(std::move(desc), image.get(), size, descName_.c_str(),
                                                           dataName_.c_str(), type, context);
  if (opened != Acquisition::Status::kOk) return StatusOfOpen(opened);
  return scaler_.Prepare(Source()) ? errNoError : errMemoryAllocation;
}

bool DfaSession::Fail(int32_t code) {
  lastError_ = code;
  return false;
}

uint32_t DfaSession::ScansFrom(uint32_t first) const {
  const int64_t scans = std::clamp<int64_t>(Source().GetNumScans(), 0, std::numeric_limits<uint32_t>::max());
  return static_cast<uint32_t>(scans) - first;  // wraps past the end, as an unsigned count does
}

uint32_t DfaSession::BlockScans(uint32_t wanted) const {
  int64_t scans = wanted;
  Source().FitScansToBuffer(kRawBlockBytes, &scans, nullptr);
  return static_cast<uint32_t>(scans);
}

bool DfaSession::ReadRawBlock(uint32_t first, uint32_t scans, uint32_t* read) {
  SrcFmt& source = *acquisition_.Source();
  int64_t blockScans = std::min(scans, ScansFrom(first));
  int64_t bytes = 0;
  int64_t offset = 0;
  source.GetBlockLayout(kRawBlockBytes, &blockScans, &bytes, first, &offset);
  if (offset < 0 || offset >= kByteOffsetLimit) return Fail(errInvalidOffset);
  if (bytes < 0 || bytes > kRawBlockBytes) return Fail(errFileRead);
  // A block of no scan reads nothing: its layout may name bytes past the end of the data.
  if (blockScans > 0 &&
      !acquisition_.DataFile().ReadAt(static_cast<uint64_t>(offset), rawBlock_, static_cast<size_t>(bytes))) {
    return Fail(errFileRead);
  }
  source.SetRawBlock(rawBlock_, blockScans, first);
  *read = static_cast<uint32_t>(blockScans);
  return true;
}

bool DfaSession::ReadScaledScans(float* out, uint32_t first, uint32_t wanted, uint32_t* count, int32_t chan) {
  lastError_ = errNoError;
  uint32_t scratchCount = 0;
  if (count == nullptr) count = &scratchCount;
  const int32_t chans = Source().GetNumChans();
  if (chan != csAllChans && (chan < 0 || chan >= chans)) return Fail(errInvalidChannel);
  uint32_t remaining = std::min(wanted, ScansFrom(first));
  const uint64_t valuesPerScan = chan == csAllChans ? static_cast<uint64_t>(std::max(chans, 0)) : 1;
  if (!IsWritableFor(out, valuesPerScan, wanted) || !platform::IsWritableMemory(count, sizeof *count)) {
    return Fail(errInvalidPointer);
  }
  *count = 0;
  float* const end = out + valuesPerScan * wanted;
  uint32_t current = first;
  uint32_t read = 0;
  if (!ReadRawBlock(current, BlockScans(remaining), &read)) return false;
  for (;;) {
    out = scaler_.Scale(Source(), current, read, chan, out);
    *count += read;
    current += read;
    remaining -= read;
    if (out == end || remaining == 0 || read == 0) return true;
    if (!ReadRawBlock(current, BlockScans(remaining), &read)) return false;
  }
}

bool DfaSession::MakeScanCurrent(uint32_t scan) {
  uint32_t read = 0;
  return ReadRawBlock(scan, BlockScans(std::min(1u, ScansFrom(scan))), &read);
}

void DfaSession::PrimeTriggerTime(const TimeFormat& request) {
  const int64_t trigger = Source().GetPreTrigCount();
  if (Source().GetNumScans() < trigger || !MakeScanCurrent(static_cast<uint32_t>(trigger))) return;
  acquisition_.Source()->GetScanTime(trigger, nullptr, &request);
  triggerTimePrimed_ = true;
}

bool DfaSession::QueryScanTime(int32_t scan, double* out, bool absolute) {
  lastError_ = errInvalidOption;
  TimeFormat request = Source().NativeTimeFormat();
  request.absolute = absolute ? 1 : 0;
  if (!request.timed) return false;
  if (!triggerTimePrimed_) PrimeTriggerTime(request);
  MakeScanCurrent(static_cast<uint32_t>(scan));
  double value = 0.0;
  if (!acquisition_.Source()->GetScanTime(scan, &value, &request)) return Fail(errInvalidOption);
  *out = absolute ? value : value * 86400.0;
  lastError_ = errNoError;
  return true;
}

}  // namespace travune
