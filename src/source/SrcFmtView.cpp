// Forwarding from a view's scans and channels to the underlying source's.
#include "source/SrcFmtView.h"

#include <algorithm>

namespace travune {

SrcFmtView::SrcFmtView(SrcFmt& base, int64_t firstScan, int64_t numScans, std::vector<int32_t> channels)
    : base_(base), first_(firstScan), numScans_(numScans), channels_(std::move(channels)) {
  InitTimeFormat();
  CopyFileInfo(base);
  SetDataFileSize(static_cast<double>(numScans) * static_cast<double>(base.GetScanSize()));
}

void SrcFmtView::InitTimeFormat() { native_ = base_.NativeTimeFormat(); }

int32_t SrcFmtView::Base(int32_t chan) const {
  return chan >= 0 && chan < GetNumChans() ? channels_[static_cast<size_t>(chan)] : -1;
}

bool SrcFmtView::IsIdentity() const {
  if (GetNumChans() != base_.GetNumChans()) return false;
  for (int32_t c = 0; c < GetNumChans(); ++c) {
    if (channels_[static_cast<size_t>(c)] != c) return false;
  }
  return true;
}

// The underlying source's own time of the scan, with its caches (stamps loaded at open).
bool SrcFmtView::GetNativeScanTime(int64_t scan, double* out) { return base_.GetScanTime(scan + first_, out); }

bool SrcFmtView::GetChanRange(int32_t chan, double* lower, double* upper) const {
  return base_.GetChanRange(Base(chan), lower, upper);
}
const char* SrcFmtView::GetChanLabel(int32_t chan) const { return base_.GetChanLabel(Base(chan)); }
const char* SrcFmtView::GetChanUnits(int32_t chan) const { return base_.GetChanUnits(Base(chan)); }
int32_t SrcFmtView::GetChanPrecision(int32_t chan) const { return base_.GetChanPrecision(Base(chan)); }

void SrcFmtView::GetBlockLayout(int64_t bufBytes, int64_t* scans, int64_t* bytes, int64_t firstScan,
                                int64_t* fileOffset) const {
  base_.GetBlockLayout(bufBytes, scans, bytes, firstScan + first_, fileOffset);
}

void SrcFmtView::FitScansToBuffer(int64_t bufBytes, int64_t* scans, int64_t* bytes) const {
  base_.FitScansToBuffer(bufBytes, scans, bytes);
}

void SrcFmtView::SetRawBlock(uint8_t* buffer, int64_t scans, int64_t firstScan) {
  SrcFmt::SetRawBlock(buffer, scans, firstScan);
  base_.SetRawBlock(buffer, scans, firstScan + first_);
}

const uint8_t* SrcFmtView::GetRawSample(int64_t scan, int32_t chan) const {
  return base_.GetRawSample(scan + first_, Base(chan));
}

double SrcFmtView::ScaleSample(int32_t chan, const uint8_t* raw) const { return base_.ScaleSample(Base(chan), raw); }
uint32_t SrcFmtView::UserToRaw(int32_t chan, double value) const { return base_.UserToRaw(Base(chan), value); }
bool SrcFmtView::CanUserToRaw(int32_t chan) const { return base_.CanUserToRaw(Base(chan)); }

void SrcFmtView::ScaleScans(int64_t firstScan, int64_t scans, double* out) const {
  if (IsIdentity()) {
    base_.ScaleScans(firstScan + first_, scans, out);
    return;
  }
  // Whole scans are scaled, so that every value is what the full conversion gives (a
  // thermocouple's reference channel is scaled before it even when it is not chosen).
  const size_t all = static_cast<size_t>(base_.GetNumChans());
  row_.resize(all);
  for (int64_t i = 0; i < scans; ++i) {
    base_.ScaleScans(firstScan + first_ + i, 1, row_.data());
    for (int32_t chan : channels_) *out++ = row_[static_cast<size_t>(chan)];
  }
}

}  // namespace travune
