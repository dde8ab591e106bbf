// A letter-designated thermocouple type: its reference function (EMF in mV against the
// measuring-junction temperature, reference junction at 0 °C) and the exact inverse of it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "IncreasingSolver.h"
#include "ThermocoupleTenths.h"

namespace travune::qulix {

// Type K's extra term above 0 °C: a0 * exp(a1 * (t - a2)^2).
struct EmfExpTerm {
  double a0;
  double a1;
  double a2;
};

// One piece of a reference function: E(t) = sum c[i] * t^i (+ the extra term, if any),
// valid from the previous piece's upper end (or the type's lowest temperature) to high.
struct EmfPiece {
  double high;
  std::span<const double> c;
  const EmfExpTerm* extra;
};

class Thermocouple {
 public:
  // pieces are in rising order and cover low .. pieces.back().high.
  Thermocouple(double low, std::span<const EmfPiece> pieces);

  // The type for a sensor kind (1 J, 2 K, 3 T, 4 E, 5 R, 6 S, 7 B, 8 N); null for others.
  static const Thermocouple* ForKind(int kind);

  double Low() const { return low_; }
  double High() const { return pieces_.back().high; }
  bool Covers(double celsius) const { return celsius >= Low() && celsius <= High(); }

  // EMF in mV at celsius (reference junction at 0 °C) and its slope in mV/°C.
  ValueAndSlope Evaluate(double celsius) const;
  double Emf(double celsius) const { return Evaluate(celsius).value; }

  // The temperature whose EMF is emf, on the rising part of the range; empty outside it.
  std::optional<double> TemperatureOf(double emf) const;

  // The measuring-junction temperature for a measured EMF with the reference junction at
  // coldJunction °C, rounded to tenths of a degree (half away from zero): mostly found in a
  // table, else by TemperatureOf. Empty when either temperature lies outside the type's range.
  std::optional<int16_t> CompensatedTenths(double measuredEmf, double coldJunction) const;

  // The same for a total EMF (measured EMF plus the cold junction's), for callers that keep
  // the cold junction's EMF across readings.
  std::optional<int16_t> TenthsOfTotalEmf(double emf) const;

 private:
  const EmfPiece& PieceAt(double celsius) const;
  double FindRisingStart() const;

  double low_;
  std::span<const EmfPiece> pieces_;
  // Where the EMF starts to rise: the lowest temperature for all types but B, whose EMF
  // dips slightly below zero just above 0 °C and rises only from that minimum.
  double risingFrom_;
  double emfAtRisingFrom_;
  double emfAtHigh_;
  ThermocoupleTenths tenths_;
};

}  // namespace travune::qulix
