// HDF5 writer: one chunked 2-D float32 dataset "data" (scans x channels, optionally gzip
// compressed) with the channels' facts as its attributes, the acquisition's facts as file
// attributes and, on request, a float64 "time" dataset with every scan's time.
#pragma once

#include <string>

#include "writer/Hdf5Id.h"
#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtHdf5 : public TgtFmt {
 public:
  TgtFmtHdf5(SrcFmt* source, const WriterContext& context);
  ~TgtFmtHdf5() override;

  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;
  bool PostConvert() override;

 private:
  bool CreateDatasets(int64_t totalScans);
  bool WriteFileAttributes();
  bool WriteChannelAttributes();
  bool WriteTimes(int64_t scans, OutputArea& out, int64_t firstScan);
  void CloseAll();

  bool timeWanted_;
  bool compress_;
  Hdf5Id file_;
  Hdf5Id data_;
  Hdf5Id time_;
};

}  // namespace travune
