// The status sets the exported functions document, for the fuzz targets' checks that every
// answer is one of them.
#pragma once

#include <cstdint>

#include "travune/travune.h"

namespace travune::fuzz {

// A conversion function's failure: -1, -2 or -1000 .. -1007.
inline bool IsCvtFailure(int32_t status) {
  return status == TRAVUNE_ERR_FAILED || status == TRAVUNE_ERR_BAD_FORMAT_ID ||
         (status <= TRAVUNE_ERR_DISK_SPACE && status >= TRAVUNE_ERR_DESC_INVALID);
}

inline bool IsTvnStatus(int32_t status) { return status >= TVN_OK && status <= TVN_ERR_FAILED; }

inline bool IsDfaError(int32_t status) { return status <= errNoError && status >= errBadHeaderFormat; }

}  // namespace travune::fuzz
