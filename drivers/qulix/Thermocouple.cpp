// Evaluation and exact inversion of the thermocouple reference functions.
#include "Thermocouple.h"

#include <cmath>

#include "Tenths.h"

namespace travune::qulix {

Thermocouple::Thermocouple(double low, std::span<const EmfPiece> pieces)
    : low_(low), pieces_(pieces), risingFrom_(FindRisingStart()),
      emfAtRisingFrom_(Emf(risingFrom_)), emfAtHigh_(Emf(High())),
      tenths_(risingFrom_, High(), [this](double t) { return Emf(t); }) {}

const EmfPiece& Thermocouple::PieceAt(double celsius) const {
  for (const EmfPiece& piece : pieces_) {
    if (celsius <= piece.high) return piece;
  }
  return pieces_.back();
}

ValueAndSlope Thermocouple::Evaluate(double celsius) const {
  const EmfPiece& piece = PieceAt(celsius);
  // Horner's scheme for the polynomial and its derivative together.
  double value = 0.0;
  double slope = 0.0;
  for (auto c = piece.c.rbegin(); c != piece.c.rend(); ++c) {
    slope = slope * celsius + value;
    value = value * celsius + *c;
  }
  if (piece.extra != nullptr) {
    const EmfExpTerm& e = *piece.extra;
    const double offset = celsius - e.a2;
    const double term = e.a0 * std::exp(e.a1 * offset * offset);
    value += term;
    slope += term * 2.0 * e.a1 * offset;
  }
  return {value, slope};
}

double Thermocouple::FindRisingStart() const {
  if (Evaluate(low_).slope > 0.0) return low_;
  // Bisect for the minimum of the EMF (the slope's zero) within the first piece.
  double lo = low_;
  double hi = pieces_.front().high;
  while (hi - lo > 1e-9) {
    const double mid = lo + 0.5 * (hi - lo);
    if (Evaluate(mid).slope > 0.0) {
      hi = mid;
    } else {
      lo = mid;
    }
  }
  return hi;
}

std::optional<double> Thermocouple::TemperatureOf(double emf) const {
  if (!(emf >= emfAtRisingFrom_ && emf <= emfAtHigh_)) return std::nullopt;
  // Start from the chord through the ends of the range; Newton takes it from there.
  const double start =
      risingFrom_ + (emf - emfAtRisingFrom_) / (emfAtHigh_ - emfAtRisingFrom_) * (High() - risingFrom_);
  return SolveIncreasing([this](double t) { return Evaluate(t); }, emf, risingFrom_, High(), start);
}

std::optional<int16_t> Thermocouple::CompensatedTenths(double measuredEmf, double coldJunction) const {
  if (!Covers(coldJunction)) return std::nullopt;
  return TenthsOfTotalEmf(measuredEmf + Emf(coldJunction));
}

std::optional<int16_t> Thermocouple::TenthsOfTotalEmf(double emf) const {
  if (!(emf >= emfAtRisingFrom_ && emf <= emfAtHigh_)) return std::nullopt;
  if (const std::optional<int16_t> tabled = tenths_.Of(emf)) return tabled;
  const std::optional<double> celsius = TemperatureOf(emf);
  return celsius ? RoundToTenths(*celsius) : std::nullopt;
}

}  // namespace travune::qulix
