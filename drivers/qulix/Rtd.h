// The Pt100 platinum resistance thermometer: the Callendar–Van Dusen characteristic
// (R0 = 100 ohm, IEC 60751 coefficients) and its exact inverse over -200 .. 850 °C.
#pragma once

#include <optional>

#include "IncreasingSolver.h"

namespace travune::qulix {

class Rtd {
 public:
  static constexpr double kR0 = 100.0;
  static constexpr double kA = 3.9083e-3;
  static constexpr double kB = -5.775e-7;
  static constexpr double kC = -4.183e-12;  // applies below 0 °C only
  static constexpr double kLowest = -200.0;
  static constexpr double kHighest = 850.0;

  // Resistance in ohm at celsius, and its slope in ohm/°C.
  static ValueAndSlope Evaluate(double celsius);
  static double Resistance(double celsius) { return Evaluate(celsius).value; }

  // The temperature for a resistance; empty outside -200 .. 850 °C.
  static std::optional<double> Temperature(double ohms);

 private:
  // The root of the quadratic part R0 (1 + A t + B t^2) = ohms.
  static double QuadraticTemperature(double ohms);
};

}  // namespace travune::qulix
