// One acquisition's conversion (and Data File Access session) split into the steps a test
// drives one at a time, in this process or in a child process, by one-letter commands.
#pragma once

#include <cstdint>
#include <string>

#include "api/CvtSession.h"
#include "travune/travune.h"

namespace travune::testing {

struct CvtSteps {
  std::string desc, data, header, output;
  int32_t format = 0;
  int64_t blockBytes = 4096;
  int32_t dfaHandle = -1;

  int32_t Read() const { return cvtReadBinDescFile(desc.c_str(), data.c_str(), TRAVUNE_SRC_MORVANE); }
  int32_t Init() const {
    TheCvtSession().SetStartBlockBytes(blockBytes);
    const int32_t opened = cvtInitDataFileEx(header.c_str(), output.c_str(), format, 0);
    TheCvtSession().SetStartBlockBytes(0);
    return opened;
  }
  // The description read and the conversion opened: 0, or the first failing status.
  int32_t Open() const {
    const int32_t size = Read();
    return size < 0 ? size : Init();
  }
  int32_t Block() const { return cvtConvertBinData(format); }
  int32_t Close() const {
    const int32_t closed = cvtCloseDataFile(format);
    cvtReleaseResources();
    return closed;
  }
  int32_t DfaOpen() { return dfaHandle = dfaOpen(desc.c_str(), sdMorvane); }
  int32_t DfaClose() { return dfaClose(dfaHandle); }

  // o: Open, r: Read, i: Init, b: Block, c: Close, d: DfaOpen, x: DfaClose.
  int32_t Run(char command) {
    switch (command) {
      case 'o': return Open();
      case 'r': return Read();
      case 'i': return Init();
      case 'b': return Block();
      case 'c': return Close();
      case 'd': return DfaOpen();
      case 'x': return DfaClose();
    }
    return INT32_MIN;
  }
};

}  // namespace travune::testing
