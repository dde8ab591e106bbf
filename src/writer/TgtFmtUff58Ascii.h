// UFF 58 text writer: dataset 151, dataset 164, then per channel a qualifier dataset 1858 and a
// dataset 58 holding the channel's whole time history as text. Channels are gathered in
// temporary files of a private directory, one per channel, and copied into the output at close
// (a text record's length is known only once it is written).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "writer/TgtFmt.h"
#include "writer/uff/UffChannelRecord.h"
#include "writer/uff/UffHeaderRecord.h"
#include "writer/uff/UffQualifierRecord.h"
#include "writer/uff/UffUnitsRecord.h"

namespace travune {

class TgtFmtUff58Ascii : public TgtFmt {
 public:
  TgtFmtUff58Ascii(SrcFmt* source, const WriterContext& context);
  // Removes the temporary files and their directory when the conversion did not finish.
  ~TgtFmtUff58Ascii() override;

  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  // Appends the block to every channel's temporary file, groups of channels on their own
  // threads when the context allows several; returns 0 bytes (nothing goes through
  // the output area) or -1 when a temporary file could not be written.
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;
  // Ends every channel's dataset and copies the channels into the output in channel order.
  bool PostConvert() override;

 protected:
  enum class DataForm { kText, kBinary };
  TgtFmtUff58Ascii(SrcFmt* source, const WriterContext& context, DataForm form);

  // Begins every channel's record after the headers; the text form in temporary files.
  virtual bool StartChannels();
  // Makes room for scans more values of every channel before they are appended.
  virtual bool ReserveScans(int64_t) { return true; }
  // Ends every channel's record and joins the records into the output in channel order.
  virtual bool JoinChannels();

  platform::File* output_ = nullptr;
  std::vector<std::unique_ptr<UffChannelRecord>> channels_;
  int64_t plannedScans_ = 0;  // the scans the conversion announced at its start

 private:
  // Each scan's time relative to the trigger in seconds, for the block; null without memory.
  const double* SecondsOfBlock(int64_t firstScan, int64_t scans);
  // Appends the block to the records of channels [first, last); false on a failure.
  bool AppendToChannels(const UffBlock& block, size_t first, size_t last);
  void RemoveTempFiles();

  UffHeaderRecord header_;
  UffUnitsRecord units_;
  std::unique_ptr<UffQualifierRecord> qualifiers_;  // text form only
  std::string tempDir_;
  std::vector<double> seconds_;
  int32_t formatThreads_;
  bool evenSpacing_ = true;
  bool failed_ = false;
};

}  // namespace travune
