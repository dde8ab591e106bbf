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
  double coldJunction = 0.0;
  if (numWords == 2) {
    coldJunction = ColdJunctionCelsius(le::U16(codes));
    codes += 2;
  }
  const double measured = ThermocoupleMillivolts(le::U16(codes), gain);
  return WriteTenths(type->CompensatedTemperature(measured, coldJunction), out);
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
