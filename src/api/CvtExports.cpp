// The exported conversion functions: the session's 64-bit operations behind the 32-bit
// arguments and results callers know, each behind the export guard.
#include <cstdint>
#include <utility>

#include "api/CvtSession.h"
#include "api/ExportGuard.h"
#include "travune/travune.h"

namespace {

// The exported reader serves data files below 4 GiB and reports the size as a signed 32-bit
// value; sizes from 2 GiB report negative, and the data file is then given up.
constexpr uint64_t kMaxDataFileBytes = uint64_t{1} << 32;

// What an exception inside a conversion function becomes: no memory and any other failure
// alike are the general failure status.
constexpr int32_t kNoMemory = TRAVUNE_ERR_FAILED;
constexpr int32_t kFailure = TRAVUNE_ERR_FAILED;

int32_t CountOrNone(int64_t value) { return static_cast<int32_t>(value); }

template <class Body>
int32_t Guarded(Body&& body) noexcept {
  return travune::GuardedCall(kNoMemory, kFailure, std::forward<Body>(body));
}

}  // namespace

TRAVUNE_API(int32_t) cvtReadBinDescFile(const char* descName, const char* dataName,
                                        int32_t sourceType) noexcept {
  return Guarded([&] {
    travune::CvtSession& session = travune::TheCvtSession();
    const int64_t result = session.ReadDescription(descName, dataName, sourceType, kMaxDataFileBytes);
    const int32_t reported = static_cast<int32_t>(static_cast<uint32_t>(result));
    if (result >= 0 && reported < 0) session.CloseSourceDataFile();
    return reported;
  });
}

TRAVUNE_API(int32_t) cvtInitDataFile(const char* headerName, const char* dataName, int32_t formatId) noexcept {
  return cvtInitDataFileEx(headerName, dataName, formatId, 0);
}

TRAVUNE_API(int32_t) cvtInitDataFileEx(const char* headerName, const char* dataName, int32_t formatId,
                                       uint32_t flags) noexcept {
  return Guarded([&] { return travune::TheCvtSession().InitConversion(headerName, dataName, formatId, flags); });
}

TRAVUNE_API(int32_t) cvtSetBinDataBlock(uint32_t firstScan, uint32_t numScans, uint32_t) noexcept {
  return Guarded([&] {
    travune::TheCvtSession().SetScanRange(firstScan, numScans);
    return int32_t{0};
  });
}

TRAVUNE_API(int32_t) cvtConvertBinData(int32_t formatId) noexcept {
  return Guarded([&] { return travune::TheCvtSession().ConvertBlock(formatId); });
}

TRAVUNE_API(int32_t) cvtCloseDataFile(int32_t formatId) noexcept {
  return Guarded([&] { return travune::TheCvtSession().CloseConversion(formatId); });
}

TRAVUNE_API(int32_t) cvtReleaseResources(void) noexcept {
  return Guarded([] {
    travune::TheCvtSession().ReleaseResources();
    return int32_t{0};
  });
}

TRAVUNE_API(int32_t) cvtGetNumChansUser(void) noexcept {
  return Guarded([] {
    travune::SrcFmt* source = travune::TheCvtSession().Source();
    return source ? source->GetNumChans() : -1;
  });
}

TRAVUNE_API(int32_t) cvtGetScanSize(void) noexcept {
  return Guarded([] {
    travune::SrcFmt* source = travune::TheCvtSession().Source();
    return source ? CountOrNone(source->GetScanSize()) : -1;
  });
}

TRAVUNE_API(int32_t) cvtGetNumScans(void) noexcept {
  return Guarded([] {
    travune::SrcFmt* source = travune::TheCvtSession().Source();
    return source ? CountOrNone(source->GetNumScans()) : -1;
  });
}
