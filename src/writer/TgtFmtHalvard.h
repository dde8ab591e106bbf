// Halvard viewer writer: a keyword description file (the chart-recorder sections plus one line
// per channel) and a data file of signed 16-bit codes, optionally with a clock stamp per scan.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/RoundedCode.h"
#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtHalvard : public TgtFmt {
 public:
  // Bit 0 of context.flags asks for a clock stamp before every scan (absolute sources only);
  // context.listSeparator separates the description's fields, context.decimalMark is the
  // decimal mark of its numbers.
  TgtFmtHalvard(SrcFmt* source, const WriterContext& context);

  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  bool PostConvert() override;
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;

  // Bytes of the clock stamp that precedes each scan when stamps are written.
  static constexpr uint32_t kStampBytes = 10;

 protected:
  // Reads every channel's range and prepares the mapping of its values onto codes. False when
  // the table cannot be allocated.
  bool LoadChannelLimits();

 private:
  std::string Description() const;
  void AppendChannelLine(std::string* text, int32_t chan) const;
  void AppendFixed6(std::string* text, double value) const;
  void PutScanStamp(uint8_t* out, int64_t scan);

  std::vector<CodeLine> codeLines_;  // through (lower, -32768) and (upper, 32767)
  bool limitsLoaded_ = false;
  uint32_t stampBytes_ = 0;
  std::string separator_;
  char decimalMark_ = '.';
};

}  // namespace travune
