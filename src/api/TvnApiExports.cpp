// The exported functions of the handle API: acquisitions and conversions behind opaque
// handles, every result a status, nothing process-wide but read-only tables.
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "api/ExportGuard.h"
#include "api/TvnAcquisition.h"
#include "api/TvnConversion.h"
#include "support/TextUtil.h"
#include "support/Time.h"
#include "travune/travune.h"

struct tvnAcq {
  travune::TvnAcquisition acquisition;
};

struct tvnConv {
  explicit tvnConv(travune::TvnAcquisition& acquisition) : conversion(acquisition) {}
  travune::TvnConversion conversion;
};

namespace {

using travune::GuardedCall;

template <class Body>
int32_t Guarded(Body&& body) noexcept {
  return GuardedCall(TVN_ERR_NO_MEMORY, TVN_ERR_FAILED, std::forward<Body>(body));
}

int32_t TimeKindOf(const travune::TimeFormat& format) {
  if (!format.timed) return TRAVUNE_TIME_UNTIMED;
  return format.absolute ? TRAVUNE_TIME_ABSOLUTE : TRAVUNE_TIME_RELATIVE;
}

// The channel list of a read; false when a channel is out of range.
bool ChannelList(travune::SrcFmt& source, const int32_t* chans, int32_t numChans, std::vector<int32_t>* out) {
  if (chans == nullptr) return true;
  if (numChans <= 0) return false;
  out->assign(chans, chans + numChans);
  for (int32_t c : *out) {
    if (c < 0 || c >= source.GetNumChans()) return false;
  }
  return true;
}

bool RangeFits(travune::SrcFmt& source, int64_t first, int64_t count) {
  return first >= 0 && count >= 0 && first <= source.GetNumScans() && count <= source.GetNumScans() - first;
}

template <class Value>
int32_t ReadValues(tvnAcq* acq, int64_t first, int64_t count, const int32_t* chans, int32_t numChans, Value* values) {
  if (acq == nullptr || (values == nullptr && count > 0)) return TVN_ERR_ARGUMENT;
  const std::lock_guard<std::mutex> lock(acq->acquisition.Lock());
  travune::SrcFmt& source = acq->acquisition.Source();
  std::vector<int32_t> list;
  if (!ChannelList(source, chans, numChans, &list) || !RangeFits(source, first, count)) return TVN_ERR_ARGUMENT;
  return acq->acquisition.Read(first, count, list, values) ? TVN_OK : TVN_ERR_DATA_READ;
}

const char* const kStatusTexts[] = {
    "no error",
    "an argument is missing or out of range",
    "not enough memory",
    "the description file cannot be opened",
    "the data file cannot be opened (missing, unreadable or held by another program)",
    "the description file cannot be read completely",
    "the description is not one this source type writes",
    "no source type recognises the description",
    "reading the data file failed or came short",
    "an output file cannot be created",
    "writing an output file failed (disk full or file too large)",
    "not enough free disk space for the output",
    "the target format cannot be written from this acquisition",
    "cancelled",
    "the acquisition has no times for these scans",
    "the operation failed",
};

}  // namespace

TRAVUNE_API(const char*) tvnStatusText(int32_t status) noexcept {
  constexpr int32_t kCount = static_cast<int32_t>(sizeof kStatusTexts / sizeof kStatusTexts[0]);
  return status >= 0 && status < kCount ? kStatusTexts[status] : "unknown status";
}

TRAVUNE_API(int32_t) tvnAcqOpen(const char* descName, const char* dataName, int32_t sourceType, tvnAcq** acq) noexcept {
  return Guarded([&]() -> int32_t {
    if (acq == nullptr) return TVN_ERR_ARGUMENT;
    *acq = nullptr;
    auto handle = std::make_unique<tvnAcq>();
    const int32_t status = handle->acquisition.Open(descName, dataName, sourceType);
    if (status == TVN_OK) *acq = handle.release();
    return status;
  });
}

TRAVUNE_API(void) tvnAcqClose(tvnAcq* acq) noexcept { delete acq; }

TRAVUNE_API(int32_t) tvnAcqGetInfo(tvnAcq* acq, tvnAcqInfo* info) noexcept {
  return Guarded([&]() -> int32_t {
    if (acq == nullptr || info == nullptr) return TVN_ERR_ARGUMENT;
    const std::lock_guard<std::mutex> lock(acq->acquisition.Lock());
    travune::SrcFmt& source = acq->acquisition.Source();
    *info = tvnAcqInfo{};
    info->sourceType = acq->acquisition.SourceType();
    info->channels = source.GetNumChans();
    info->scans = source.GetNumScans();
    info->programmedScans = source.GetNumProgScans();
    info->scanBytes = source.GetScanSize();
    info->dataBytes = acq->acquisition.Files().DataFileSize();
    info->preTrigScans = source.GetPreTrigCount();
    info->preTrigRate = source.GetPreTrigRate();
    info->postTrigRate = source.GetPostTrigRate();
    info->timeKind = TimeKindOf(source.NativeTimeFormat());
    info->stampsInData = source.NativeTimeFormat().stampsInData ? 1 : 0;
    travune::BoundedCopy(info->appTitle, source.GetAppTitle() ? source.GetAppTitle() : "", sizeof info->appTitle);
    travune::BoundedCopy(info->descVersion, source.GetDescVersion() ? source.GetDescVersion() : "",
                         sizeof info->descVersion);
    return TVN_OK;
  });
}

TRAVUNE_API(int32_t) tvnAcqGetChanInfo(tvnAcq* acq, int32_t chan, tvnChanInfo* info) noexcept {
  return Guarded([&]() -> int32_t {
    if (acq == nullptr || info == nullptr) return TVN_ERR_ARGUMENT;
    const std::lock_guard<std::mutex> lock(acq->acquisition.Lock());
    travune::SrcFmt& source = acq->acquisition.Source();
    if (chan < 0 || chan >= source.GetNumChans()) return TVN_ERR_ARGUMENT;
    *info = tvnChanInfo{};
    const char* label = source.GetChanLabel(chan);
    const char* units = source.GetChanUnits(chan);
    travune::BoundedCopy(info->label, label ? label : "", sizeof info->label);
    travune::BoundedCopy(info->units, units ? units : "", sizeof info->units);
    source.GetChanRange(chan, &info->lower, &info->upper);
    info->precision = source.GetChanPrecision(chan);
    return TVN_OK;
  });
}

TRAVUNE_API(int32_t) tvnAcqChannelRecordsValid(tvnAcq* acq, int32_t* valid) noexcept {
  return Guarded([&]() -> int32_t {
    if (acq == nullptr || valid == nullptr) return TVN_ERR_ARGUMENT;
    const std::lock_guard<std::mutex> lock(acq->acquisition.Lock());
    *valid = acq->acquisition.Source().HasValidChannelRecords() ? 1 : 0;
    return TVN_OK;
  });
}

TRAVUNE_API(int32_t) tvnAcqGetScanTimes(tvnAcq* acq, int64_t first, int64_t count, double* times) noexcept {
  return Guarded([&]() -> int32_t {
    if (acq == nullptr || (times == nullptr && count > 0)) return TVN_ERR_ARGUMENT;
    const std::lock_guard<std::mutex> lock(acq->acquisition.Lock());
    travune::SrcFmt& source = acq->acquisition.Source();
    if (!RangeFits(source, first, count)) return TVN_ERR_ARGUMENT;
    if (!acq->acquisition.ScanTimes(first, count, nullptr, times)) return TVN_ERR_NO_TIMES;
    const travune::TimeFormat& native = source.NativeTimeFormat();
    if (native.timed && !native.absolute) {
      for (int64_t i = 0; i < count; ++i) times[i] = travune::DaysToSeconds(times[i]);
    }
    return TVN_OK;
  });
}

TRAVUNE_API(int32_t) tvnAcqReadFloat32(tvnAcq* acq, int64_t first, int64_t count, const int32_t* chans,
                                       int32_t numChans, float* values) noexcept {
  return Guarded([&]() -> int32_t { return ReadValues(acq, first, count, chans, numChans, values); });
}

TRAVUNE_API(int32_t) tvnAcqReadFloat64(tvnAcq* acq, int64_t first, int64_t count, const int32_t* chans,
                                       int32_t numChans, double* values) noexcept {
  return Guarded([&]() -> int32_t { return ReadValues(acq, first, count, chans, numChans, values); });
}

TRAVUNE_API(int32_t) tvnConvOpen(tvnAcq* acq, const tvnConvOptions* options, tvnConv** conv) noexcept {
  return Guarded([&]() -> int32_t {
    if (acq == nullptr || options == nullptr || conv == nullptr) return TVN_ERR_ARGUMENT;
    *conv = nullptr;
    const std::lock_guard<std::mutex> lock(acq->acquisition.Lock());
    auto handle = std::make_unique<tvnConv>(acq->acquisition);
    const int32_t status = handle->conversion.Open(*options);
    if (status == TVN_OK) *conv = handle.release();
    return status;
  });
}

TRAVUNE_API(int32_t) tvnConvStep(tvnConv* conv, int64_t* done) noexcept {
  return Guarded([&]() -> int32_t {
    if (conv == nullptr) return TVN_ERR_ARGUMENT;
    const std::lock_guard<std::mutex> lock(conv->conversion.Acquisition().Lock());
    return conv->conversion.Step(done);
  });
}

TRAVUNE_API(int32_t) tvnConvRun(tvnConv* conv, tvnProgressFn progress, void* user) noexcept {
  return Guarded([&]() -> int32_t {
    if (conv == nullptr) return TVN_ERR_ARGUMENT;
    travune::TvnConversion& c = conv->conversion;
    int64_t done = 0;
    do {
      int32_t status;
      {
        const std::lock_guard<std::mutex> lock(c.Acquisition().Lock());
        status = c.Step(&done);
      }
      if (status != TVN_OK) return status;
      if (progress != nullptr && progress(done, c.Total(), user) != 0) return TVN_ERR_CANCELLED;
    } while (done < c.Total());
    return TVN_OK;
  });
}

TRAVUNE_API(int32_t) tvnConvFinish(tvnConv* conv) noexcept {
  return Guarded([&]() -> int32_t {
    if (conv == nullptr) return TVN_ERR_ARGUMENT;
    const std::lock_guard<std::mutex> lock(conv->conversion.Acquisition().Lock());
    return conv->conversion.Finish();
  });
}

TRAVUNE_API(void) tvnConvClose(tvnConv* conv) noexcept {
  if (conv == nullptr) return;
  const std::lock_guard<std::mutex> lock(conv->conversion.Acquisition().Lock());
  delete conv;
}
