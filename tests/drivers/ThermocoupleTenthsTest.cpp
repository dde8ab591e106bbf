// The driver's tabled thermocouple tenths against its exact inversion: every 16-bit code at
// several gains and cold junctions, and readings right at and around the half tenths.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>

#include "Tenths.h"
#include "Thermocouple.h"

namespace travune::qulix {
namespace {

// The temperature the driver computed before the table: invert, then round.
std::optional<int16_t> ExactTenths(const Thermocouple& type, double measuredEmf, double coldJunction) {
  if (!type.Covers(coldJunction)) return std::nullopt;
  const std::optional<double> celsius = type.TemperatureOf(measuredEmf + type.Emf(coldJunction));
  return celsius ? RoundToTenths(*celsius) : std::nullopt;
}

// The thermocouple input's millivolts for a code, as the driver's entry computes them.
double Millivolts(uint32_t code, int gain) { return (static_cast<double>(code) - 32768.0) * 10000.0 / 65536.0 / gain; }

TEST(ThermocoupleTenths, EqualsExactInversionForEveryCode) {
  const int gains[] = {1, 10, 100, 1000};
  const double coldJunctions[] = {0.0, 23.7, -20.0};
  for (int kind = 1; kind <= 8; ++kind) {
    const Thermocouple& type = *Thermocouple::ForKind(kind);
    for (int gain : gains) {
      for (double coldJunction : coldJunctions) {
        for (uint32_t code = 0; code <= 0xFFFF; ++code) {
          const double mv = Millivolts(code, gain);
          ASSERT_EQ(type.CompensatedTenths(mv, coldJunction), ExactTenths(type, mv, coldJunction))
              << "kind " << kind << " gain " << gain << " cold junction " << coldJunction << " code " << code;
        }
      }
    }
  }
}

TEST(ThermocoupleTenths, EqualsExactInversionAroundHalfTenths) {
  // Readings at a half tenth's EMF and just beside it, where the rounding changes.
  const double offsets[] = {0.0, 1e-13, -1e-13, 1e-9, -1e-9, 5e-7, -5e-7, 2e-6, -2e-6};
  for (int kind = 1; kind <= 8; ++kind) {
    const Thermocouple& type = *Thermocouple::ForKind(kind);
    for (double celsius = type.Low() + 0.05; celsius < type.High(); celsius += 0.7) {
      const double halfTenth = (std::round(celsius * 10.0) + 0.5) / 10.0;
      for (double offset : offsets) {
        const double mv = type.Emf(halfTenth) + offset;
        ASSERT_EQ(type.CompensatedTenths(mv, 0.0), ExactTenths(type, mv, 0.0))
            << "kind " << kind << " at " << halfTenth << " °C offset " << offset << " mV";
      }
    }
  }
}

}  // namespace
}  // namespace travune::qulix
