// The exported entries of the driver library: argument and byte handling around the
// thermocouple, RTD and 12-bit unpack conversions.
#include "qulix.h"

#include <atomic>
#include <optional>

#include "Rtd.h"
#include "Tenths.h"
#include "Thermocouple.h"
#include "Unpack12.h"
#include "support/LittleEndian.h"

namespace travune::qulix {
namespace {

std::atomic<QlxCallback> registeredCallback{nullptr};

// Thermocouple input: (code - 32768) * 10000 / 65536 / gain mV, a gain of 0 counting as 1.
double ThermocoupleMillivolts(uint16_t code, int32_t gain) {
  const double g = gain == 0 ? 1.0 : static_cast<double>(gain);
  return (static_cast<double>(code) - 32768.0) * 10000.0 / 65536.0 / g;
}

// Cold-junction sensor: code * 205 / 65536 - 102.5 °C.
double ColdJunctionCelsius(uint16_t code) { return static_cast<double>(code) * 205.0 / 65536.0 - 102.5; }

// Four-wire resistance: 400 ohm * (sHi - sLo) / (rHi - rLo); empty for a zero reference span.
std::optional<double> FourWireOhms(const uint8_t* words) {
  const int32_t sense = static_cast<int32_t>(le::U16(words)) - le::U16(words + 2);
  const int32_t reference = static_cast<int32_t>(le::U16(words + 4)) - le::U16(words + 6);
  if (reference == 0) return std::nullopt;
  return 400.0 * sense / reference;
}

// Stores a temperature as signed 16-bit tenths at out; QLX_ERR_RANGE, leaving out alone,
// when there is no temperature or it does not fit.
int32_t WriteTenths(std::optional<double> celsius, void* out) {
  if (!celsius) return QLX_ERR_RANGE;
  const std::optional<int16_t> tenths = RoundToTenths(*celsius);
  if (!tenths) return QLX_ERR_RANGE;
  le::PutI16(out, *tenths);
  return QLX_OK;
}

// Recent thermocouple results. A result depends only on (kind, gain, reference code, code),
// and acquisitions repeat those combinations scan after scan, so a small direct-mapped table
// spares most inversions.
class ThermocoupleMemo {
 public:
  struct Key {
    int32_t gain;
    uint32_t reference;  // the reference code, or 0x10000 without one (cold junction at 0 °C)
    uint16_t code;
    uint8_t kind;
    bool operator==(const Key&) const = default;
  };
  struct Entry {
    Key key{0, 0xFFFFFFFFu, 0, 0};  // matches no real call
    int32_t status = 0;
    int16_t tenths = 0;
  };

  Entry& Slot(const Key& key) {
    const uint64_t packed = (static_cast<uint64_t>(static_cast<uint32_t>(key.gain)) << 32) ^
                            (static_cast<uint64_t>(key.reference) << 16) ^ key.code ^
                            (static_cast<uint64_t>(key.kind) << 40);
    return entries_[(packed * 0x9E3779B97F4A7C15ull) >> (64 - kBits)];
  }

 private:
  static constexpr int kBits = 12;
  Entry entries_[size_t{1} << kBits];
};

// Cold-junction EMFs of recently met reference codes, direct-mapped by code: a cold junction's
// temperature changes slowly, so a run of readings meets few reference codes, each many times.
// Empty when the cold junction lies outside the type's range.
class ColdJunctionEmfs {
 public:
  std::optional<double> EmfOf(const Thermocouple& type, uint32_t reference) {
    Entry& entry = entries_[reference % kEntries];
    if (entry.type != &type || entry.reference != reference) {
      const double celsius = reference > 0xFFFFu ? 0.0 : ColdJunctionCelsius(static_cast<uint16_t>(reference));
      entry.emf = type.Covers(celsius) ? std::optional<double>(type.Emf(celsius)) : std::nullopt;
      entry.type = &type;
      entry.reference = reference;
    }
    return entry.emf;
  }

 private:
  static constexpr size_t kEntries = 1024;
  struct Entry {
    const Thermocouple* type = nullptr;  // matches no real call
    uint32_t reference = 0;
    std::optional<double> emf;
  };
  Entry entries_[kEntries];
};

// One set per thread keeps the entry point safe to call anywhere.
struct ThermocoupleCaches {
  ThermocoupleMemo memo;
  ColdJunctionEmfs coldJunctions;
};

thread_local ThermocoupleCaches caches;

}  // namespace
}  // namespace travune::qulix

using namespace travune;
using namespace travune::qulix;

extern "C" {

QULIX_API int32_t QlxRegisterCallback(QlxCallback callback) {
  registeredCallback.store(callback);
  return QLX_OK;
}

QULIX_API int32_t QlxThermocouple(int32_t, int32_t, int32_t, int32_t gain, int32_t kind, int32_t,
                                  const void* words, int32_t, void* out, int32_t numWords) {
  if (words == nullptr || out == nullptr || (numWords != 1 && numWords != 2)) return QLX_ERR_ARGUMENT;
  const Thermocouple* type = Thermocouple::ForKind(kind & 0xFF);
  if (type == nullptr) return QLX_ERR_SENSOR;
  const auto* codes = static_cast<const uint8_t*>(words);
  // Without a reference word the cold junction sits at 0 °C; 0x10000 marks that case.
  const uint32_t reference = numWords == 2 ? le::U16(codes) : 0x10000u;
  const uint16_t code = le::U16(codes + (numWords == 2 ? 2 : 0));
  const ThermocoupleMemo::Key key{gain, reference, code, static_cast<uint8_t>(kind & 0xFF)};
  ThermocoupleCaches& own = caches;
  ThermocoupleMemo::Entry& entry = own.memo.Slot(key);
  if (entry.key != key) {
    const std::optional<double> coldEmf = own.coldJunctions.EmfOf(*type, reference);
    const std::optional<int16_t> tenths =
        coldEmf ? type->TenthsOfTotalEmf(ThermocoupleMillivolts(code, gain) + *coldEmf) : std::nullopt;
    entry.status = tenths ? QLX_OK : QLX_ERR_RANGE;
    entry.tenths = tenths.value_or(0);
    entry.key = key;
  }
  if (entry.status == QLX_OK) le::PutI16(out, entry.tenths);
  return entry.status;
}

QULIX_API int32_t QlxRtd(int32_t, int32_t, int32_t, int32_t, int32_t, const void* words, int32_t, void* out,
                         int32_t) {
  if (words == nullptr || out == nullptr) return QLX_ERR_ARGUMENT;
  const std::optional<double> ohms = FourWireOhms(static_cast<const uint8_t*>(words));
  if (!ohms) return QLX_ERR_RANGE;
  return WriteTenths(Rtd::Temperature(*ohms), out);
}

QULIX_API int32_t QlxUnpack12(void* block, int32_t, int32_t count, int32_t, int32_t channels) {
  if (block == nullptr) return QLX_ERR_ARGUMENT;
  if (count <= 0 || channels <= 0) return QLX_OK;
  UnpackTwelveBitGroups(static_cast<uint8_t*>(block), static_cast<int64_t>(count) * channels);
  return QLX_OK;
}

}  // extern "C"
