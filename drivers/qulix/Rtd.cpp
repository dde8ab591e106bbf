// Pt100 resistance against temperature and back.
#include "Rtd.h"

#include <cmath>

namespace travune::qulix {

ValueAndSlope Rtd::Evaluate(double celsius) {
  const double t = celsius;
  double ratio = 1.0 + kA * t + kB * t * t;
  double slope = kA + 2.0 * kB * t;
  if (t < 0.0) {
    ratio += kC * (t - 100.0) * t * t * t;
    slope += kC * (4.0 * t - 300.0) * t * t;
  }
  return {kR0 * ratio, kR0 * slope};
}

double Rtd::QuadraticTemperature(double ohms) {
  // B t^2 + A t - x = 0 with x = ohms / R0 - 1, written without the cancellation of
  // (-A + sqrt(A^2 + 4 B x)) / (2 B).
  const double x = ohms / kR0 - 1.0;
  return 2.0 * x / (kA + std::sqrt(kA * kA + 4.0 * kB * x));
}

std::optional<double> Rtd::Temperature(double ohms) {
  if (!(ohms >= Resistance(kLowest) && ohms <= Resistance(kHighest))) return std::nullopt;
  const double quadratic = QuadraticTemperature(ohms);
  if (ohms >= kR0) return quadratic;  // no C term above 0 °C: the quadratic root is exact
  return SolveIncreasing([](double t) { return Evaluate(t); }, ohms, kLowest, 0.0, quadratic);
}

}  // namespace travune::qulix
