// The exported conversion functions: the session's 64-bit operations behind the 32-bit
// arguments and results callers know.
#include <cstdint>

#include "api/CvtSession.h"
#include "travune/travune.h"

namespace {

// The exported reader serves data files below 4 GiB and reports the size as a signed 32-bit
// value; sizes from 2 GiB report negative, and the data file is then given up.
constexpr uint64_t kMaxDataFileBytes = uint64_t{1} << 32;

int32_t CountOrNone(int64_t value) { return static_cast<int32_t>(value); }

}  // namespace

TRAVUNE_API(int32_t) cvtReadBinDescFile(const char* descName, const char* dataName, int32_t sourceType) {
  travune::CvtSession& session = travune::TheCvtSession();
  const int64_t result = session.ReadDescription(descName, dataName, sourceType, kMaxDataFileBytes);
  const int32_t reported = static_cast<int32_t>(static_cast<uint32_t>(result));
  if (result >= 0 && reported < 0) session.CloseSourceDataFile();
  return reported;
}

TRAVUNE_API(int32_t) cvtInitDataFile(const char* headerName, const char* dataName, int32_t formatId) {
  return cvtInitDataFileEx(headerName, dataName, formatId, 0);
}

TRAVUNE_API(int32_t) cvtInitDataFileEx(const char* headerName, const char* dataName, int32_t formatId,
                                       uint32_t flags) {
  return travune::TheCvtSession().InitConversion(headerName, dataName, formatId, flags);
}

TRAVUNE_API(int32_t) cvtSetBinDataBlock(uint32_t firstScan, uint32_t numScans, uint32_t) {
  travune::TheCvtSession().SetScanRange(firstScan, numScans);
  return 0;
}

TRAVUNE_API(int32_t) cvtConvertBinData(int32_t formatId) { return travune::TheCvtSession().ConvertBlock(formatId); }

TRAVUNE_API(int32_t) cvtCloseDataFile(int32_t formatId) { return travune::TheCvtSession().CloseConversion(formatId); }

TRAVUNE_API(int32_t) cvtReleaseResources(void) {
  travune::TheCvtSession().ReleaseResources();
  return 0;
}

TRAVUNE_API(int32_t) cvtGetNumChansUser(void) {
  travune::SrcFmt* source = travune::TheCvtSession().Source();
  return source ? source->GetNumChans() : -1;
}

TRAVUNE_API(int32_t) cvtGetScanSize(void) {
  travune::SrcFmt* source = travune::TheCvtSession().Source();
  return source ? CountOrNone(source->GetScanSize()) : -1;
}

TRAVUNE_API(int32_t) cvtGetNumScans(void) {
  travune::SrcFmt* source = travune::TheCvtSession().Source();
  return source ? CountOrNone(source->GetNumScans()) : -1;
}
