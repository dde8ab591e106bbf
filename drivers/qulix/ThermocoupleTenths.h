// Thermocouple temperatures in tenths of a degree by table: the EMF at every half tenth of the
// rising range, so that most readings round to their tenths by a search instead of an inversion.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace travune::qulix {

class ThermocoupleTenths {
 public:
  // Tables the tenths that temperatures from `from` to `to` °C round to; emfAt(t) is the
  // type's increasing EMF in mV on that range.
  template <class EmfAt>
  ThermocoupleTenths(double from, double to, EmfAt emfAt);

  // The tenths of a degree that the exact inversion of emf rounds to, for an emf within the
  // tabled range; empty when emf lies so close to a half tenth that only the exact inversion
  // can tell the side.
  std::optional<int16_t> Of(double emf) const;

 private:
  // Readings this close (mV) to a half tenth's EMF are left to the exact inversion. The
  // steepest type rises about 0.08 mV/°C, so the margin stands for at least 1e-5 °C, far
  // above the inversion's error of about 1e-9 °C.
  static constexpr double kMarginMv = 1e-6;

  int32_t lowest_;                  // the tenths at the start of the range
  std::vector<double> boundaries_;  // EMF at (lowest_ + i + 0.5) / 10 °C
};

template <class EmfAt>
ThermocoupleTenths::ThermocoupleTenths(double from, double to, EmfAt emfAt)
    : lowest_(static_cast<int32_t>(std::lround(from * 10.0))) {
  const int32_t highest = static_cast<int32_t>(std::lround(to * 10.0));
  boundaries_.reserve(static_cast<size_t>(highest - lowest_));
  for (int32_t tenths = lowest_; tenths < highest; ++tenths) boundaries_.push_back(emfAt((tenths + 0.5) / 10.0));
}

}  // namespace travune::qulix
