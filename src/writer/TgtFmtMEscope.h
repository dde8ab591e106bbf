// ME'scope writer: hands the acquisition to the WrtBlk32 block-writer library, loaded at run
// time, which writes the block file under the data file's name at the end.
#pragma once

#include <string>

#include "support/FilePath.h"
#include "writer/TgtFmt.h"

namespace travune {

class TgtFmtMEscope : public TgtFmt {
 public:
  // The module name of the block-writer library.
  static constexpr const char* kModuleName = "wrtblk32";

  explicit TgtFmtMEscope(SrcFmt* source) : TgtFmtMEscope(source, kModuleName) {}
  // The same writer with another build of the library (tests load one that fails on demand).
  TgtFmtMEscope(SrcFmt* source, std::string moduleName);
  ~TgtFmtMEscope() override;

  // Loads and configures the library and describes the block and its traces. On success it
  // closes the data file, which the library creates itself at PostConvert.
  bool PreConvert(const char* dataName, platform::File* dataFile, platform::File* headerFile,
                  int64_t totalScans) override;
  // Hands every value of the block (and, with two time bases, every scan's time) to the
  // library; produces no bytes. -1 when the library refuses a value.
  int64_t ConvertDataBlock(int64_t scans, OutputArea& out, int64_t firstScan) override;
  // Has the library write the block file, resets the block and unloads the library. Always true.
  bool PostConvert() override;

 private:
  // The body of PreConvert inside the guard; a missing entry point throws.
  bool DescribeBlock(const char* dataName);
  bool DescribeTraces();
  // Feeds scans [firstScan, firstScan + scans); a missing entry point throws.
  int64_t FeedBlock(int64_t scans, int64_t firstScan);
  // The entry point called name, as type Fn; throws when the library has none.
  template <class Fn>
  Fn Entry(const char* name) const;
  // Calls INITIALIZEWRTBLOCK when its address is known, whatever the library throws.
  void CallReinitialise();
  void Unload();

  std::string moduleName_;
  using NoArgEntry = int16_t (*)();
  NoArgEntry reinitialise_ = nullptr;
  void* module_ = nullptr;
  FilePath dataPath_;
  bool oneTimeBase_ = true;
  int32_t chans_ = 0;
};

}  // namespace travune
