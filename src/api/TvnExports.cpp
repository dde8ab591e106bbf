// Travune's own exported extensions: source-type guessing and facts about the current source
// and its channels, for tools that show an acquisition before converting it. Each runs behind
// the export guard; an exception inside becomes -1.
#include <cstring>
#include <string>
#include <utility>

#include "api/CvtSession.h"
#include "api/ExportGuard.h"
#include "api/SourceGuess.h"
#include "support/TextUtil.h"
#include "travune/travune.h"

namespace {

void CopyBounded(char* buffer, int32_t size, const char* text) {
  if (buffer != nullptr && size > 0) travune::BoundedCopy(buffer, text ? text : "", size);
}

int32_t TimeKindOf(const travune::TimeFormat& format) {
  if (!format.timed) return TRAVUNE_TIME_UNTIMED;
  return format.absolute ? TRAVUNE_TIME_ABSOLUTE : TRAVUNE_TIME_RELATIVE;
}

int32_t Clamp32(int64_t value) {
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<int32_t>(value);
}

template <class Body>
int32_t Guarded(Body&& body) noexcept {
  return travune::GuardedCall(-1, -1, std::forward<Body>(body));
}

}  // namespace

TRAVUNE_API(int32_t) tvnGuessSourceType(const char* descName, char* why, int32_t whySize) noexcept {
  return Guarded([&] {
    std::string explanation;
    const int32_t type = travune::GuessSourceType(descName, &explanation);
    CopyBounded(why, whySize, explanation.c_str());
    return type;
  });
}

TRAVUNE_API(int32_t) tvnGetSourceInfo(char* appTitle, int32_t titleSize, char* version, int32_t versionSize,
                                      double* preTrigRate, double* postTrigRate, int32_t* preTrigCount,
                                      int32_t* progScans, int32_t* timeKind) noexcept {
  return Guarded([&] {
    const travune::SrcFmt* source = travune::TheCvtSession().Source();
    if (source == nullptr) return -1;
    CopyBounded(appTitle, titleSize, source->GetAppTitle());
    CopyBounded(version, versionSize, source->GetDescVersion());
    if (preTrigRate) *preTrigRate = source->GetPreTrigRate();
    if (postTrigRate) *postTrigRate = source->GetPostTrigRate();
    if (preTrigCount) *preTrigCount = Clamp32(source->GetPreTrigCount());
    if (progScans) *progScans = Clamp32(source->GetNumProgScans());
    if (timeKind) *timeKind = TimeKindOf(source->NativeTimeFormat());
    return 0;
  });
}

TRAVUNE_API(int32_t) tvnGetChanInfo(int32_t chan, char* label, int32_t labelSize, char* units, int32_t unitsSize,
                                    double* lower, double* upper, int32_t* precision) noexcept {
  return Guarded([&] {
    const travune::SrcFmt* source = travune::TheCvtSession().Source();
    if (source == nullptr) return -1;
    if (chan < 0 || chan >= source->GetNumChans()) return -5;
    CopyBounded(label, labelSize, source->GetChanLabel(chan));
    CopyBounded(units, unitsSize, source->GetChanUnits(chan));
    double lo = 0.0, hi = 0.0;
    source->GetChanRange(chan, &lo, &hi);
    if (lower) *lower = lo;
    if (upper) *upper = hi;
    if (precision) *precision = source->GetChanPrecision(chan);
    return 0;
  });
}

TRAVUNE_API(int32_t) tvnGetScanTime(uint32_t scan, double* days) noexcept {
  return Guarded([&] {
    travune::SrcFmt* source = travune::TheCvtSession().Source();
    if (source == nullptr || days == nullptr) return -1;
    return source->GetScanTime(scan, days) ? 0 : -1;
  });
}
