// The binary form: the text writer's steps, with binary channel records placed in the output.
#include "writer/TgtFmtUff58Binary.h"

#include <algorithm>

namespace travune {

TgtFmtUff58Binary::TgtFmtUff58Binary(SrcFmt* source, const WriterContext& context)
    : TgtFmtUff58Ascii(source, context, DataForm::kBinary) {
  // The binary form makes binary channel records only.
  for (const auto& channel : channels_) records_.push_back(static_cast<UffChannelRecordBinary*>(channel.get()));
}

bool TgtFmtUff58Binary::StartChannels() {
  int64_t offset = output_ != nullptr ? output_->Size() : -1;
  capacity_ = plannedScans_;
  for (size_t i = 0; offset >= 0 && i < records_.size(); ++i) {
    offset = records_[i]->Place(static_cast<int32_t>(i), *output_, offset, capacity_);
  }
  return offset >= 0;
}

bool TgtFmtUff58Binary::ReserveScans(int64_t scans) {
  const int64_t needed = scansPlaced_ + scans;
  // Growing by at least half again keeps the moves few when blocks keep coming past the plan.
  if (needed > capacity_ && !Relayout(std::max(needed, capacity_ + capacity_ / 2))) return false;
  scansPlaced_ = needed;
  return true;
}

bool TgtFmtUff58Binary::JoinChannels() {
  for (UffChannelRecordBinary* record : records_) {
    if (!record->FinishChannel()) return false;
  }
  // Records that filled their room already follow each other.
  return scansPlaced_ == capacity_ || Relayout(scansPlaced_);
}

bool TgtFmtUff58Binary::Relayout(int64_t capacity) {
  if (records_.empty()) return true;
  std::vector<int64_t> starts(records_.size());
  int64_t offset = records_.front()->Offset();
  for (size_t i = 0; i < records_.size(); ++i) {
    starts[i] = offset;
    offset += records_[i]->BytesFor(capacity);
  }
  // Towards the end the last record moves first, towards the start the first: no record
  // overwrites one that has still to move.
  const bool growing = capacity > capacity_;
  for (size_t n = 0; n < records_.size(); ++n) {
    const size_t i = growing ? records_.size() - 1 - n : n;
    if (!records_[i]->MoveTo(starts[i])) return false;
  }
  capacity_ = capacity;
  if (growing) return true;
  UffChannelRecordBinary* last = records_.back();
  return output_->Resize(static_cast<uint64_t>(last->Offset() + last->BytesWritten()));
}

}  // namespace travune
