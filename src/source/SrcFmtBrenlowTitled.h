// The Brenlow reader for the applications that write the same description format under their
// own name (Vexmoor, Threnix): it differs only in the application title it reports.
#pragma once

#include "source/SrcFmtBrenlow.h"
#include "support/String.h"

namespace travune {

class SrcFmtBrenlowTitled : public SrcFmtBrenlow {
 public:
  SrcFmtBrenlowTitled(const uint8_t* image, size_t size, const char* title);
  ~SrcFmtBrenlowTitled() override;

  const char* GetAppTitle() const override { return title_.c_str(); }

 private:
  String title_;
};

}  // namespace travune
