// A source for writer tests: channel facts, rates, trigger and time base are set directly and
// every scaled value (and, when set, every native time) comes from a table.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "source/SrcFmt.h"
#include "support/Time.h"

namespace travune::testing {

struct FakeChannel {
  std::string label;
  std::string units;
  double lower = -10.0;
  double upper = 10.0;
  int32_t precision = 4;
};

class FakeSource : public SrcFmt {
 public:
  // values holds scans × channels scaled values, scan after scan.
  FakeSource(std::vector<FakeChannel> channels, std::vector<double> values)
      : channels_(std::move(channels)), values_(std::move(values)) {
    InitTimeFormat();
  }

  // Time base: rates in scans per second; absolute sources date scan 0 at startDays.
  void SetRates(double pre, double post) {
    pre_ = pre;
    post_ = post;
    InitTimeFormat();
  }
  void SetPreTrigCount(int64_t count) { preTrig_ = count; }
  void SetAbsolute(double startDays) {
    native_.absolute = 1;
    startDays_ = startDays;
  }
  void SetUntimed() { native_.timed = 0; }
  // Native scan times from a table (none outside it), in the given time format.
  void SetTimes(const TimeFormat& format, std::vector<double> times) {
    native_ = format;
    times_ = std::move(times);
  }
  void SetTitle(std::string title, std::string version) {
    title_ = std::move(title);
    version_ = std::move(version);
  }

  bool GetNativeScanTime(int64_t scan, double* out) override {
    if (!times_.empty()) {
      if (scan < 0 || static_cast<size_t>(scan) >= times_.size()) return false;
      *out = times_[static_cast<size_t>(scan)];
      return true;
    }
    if (!native_.timed) {
      *out = static_cast<double>(scan - preTrig_);
      return true;
    }
    const double rate = scan < preTrig_ ? pre_ : post_;
    if (rate == 0.0) return false;
    const double seconds = static_cast<double>(scan - preTrig_) / rate;
    *out = (native_.absolute ? startDays_ + static_cast<double>(preTrig_) / pre_ / 86400.0 : 0.0) +
           SecondsToDays(seconds);
    return true;
  }
  int32_t GetNumChans() const override { return static_cast<int32_t>(channels_.size()); }
  int64_t GetNumProgScans() const override { return static_cast<int64_t>(values_.size() / channels_.size()); }
  int64_t GetScanSize() const override { return 8 * GetNumChans(); }
  int32_t GetSampleSize() const override { return 8; }
  bool GetChanRange(int32_t chan, double* lower, double* upper) const override {
    *lower = channels_[chan].lower;
    *upper = channels_[chan].upper;
    return true;
  }
  const char* GetChanLabel(int32_t chan) const override { return channels_[chan].label.c_str(); }
  const char* GetChanUnits(int32_t chan) const override { return channels_[chan].units.c_str(); }
  int32_t GetChanPrecision(int32_t chan) const override { return channels_[chan].precision; }
  double GetPreTrigRate() const override { return pre_; }
  double GetPostTrigRate() const override { return post_; }
  int64_t GetPreTrigCount() const override { return preTrig_; }
  bool HasUniformRate() const override { return pre_ == post_; }
  const char* GetAppTitle() const override { return title_.c_str(); }
  const char* GetDescVersion() const override { return version_.c_str(); }
  // The raw sample of (scan, chan) is the table entry itself, whatever block was handed over.
  const uint8_t* GetRawSample(int64_t scan, int32_t chan) const override {
    return reinterpret_cast<const uint8_t*>(&values_[static_cast<size_t>(scan * GetNumChans() + chan)]);
  }
  double ScaleSample(int32_t, const uint8_t* raw) const override {
    double value;
    std::memcpy(&value, raw, sizeof value);
    return value;
  }

 private:
  std::vector<FakeChannel> channels_;
  std::vector<double> values_;
  std::vector<double> times_;
  double pre_ = 100.0;
  double post_ = 100.0;
  int64_t preTrig_ = 0;
  double startDays_ = 0.0;
  std::string title_ = "Fake";
  std::string version_ = "1.0";
};

}  // namespace travune::testing
