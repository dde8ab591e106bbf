// Chooses the layout class of a sample's source type.
#include "samples/SampleLayout.h"

#include "samples/BrenlowSample.h"
#include "samples/CeldrinSample.h"
#include "samples/MorvaneSample.h"
#include "samples/QuillonSample.h"
#include "samples/TarquilSample.h"

namespace travune::samples {

uint8_t* SampleLayout::Grow(std::vector<uint8_t>* out, int64_t bytes) {
  const size_t start = out->size();
  out->resize(start + static_cast<size_t>(bytes));
  return out->data() + start;
}

std::unique_ptr<SampleLayout> MakeLayout(const SampleSpec& request) {
  switch (request.type) {
    case 2:
    case 7:
    case 8:
      return std::make_unique<BrenlowSample>(request);
    case 3:
      return std::make_unique<MorvaneSample>(request);
    case 4:
      return std::make_unique<TarquilSample>(request);
    case 5:
      return std::make_unique<QuillonSample>(request);
    case 6:
      return std::make_unique<CeldrinSample>(request);
    default:
      return nullptr;
  }
}

}  // namespace travune::samples
