// Thermocouple temperatures in tenths of a degree by table: the EMF at every half tenth of the
// rising range, so that most readings round to their tenths by a short search instead of an
// inversion. The search starts from an index of equal EMF steps.
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
  // Half tenths per index step on average: the EMF is close to linear in temperature, so
  // most steps hold about this many.
  static constexpr size_t kBoundariesPerStep = 2;

  // The index step of emf: a non-decreasing function of emf, so that every half tenth whose
  // step lies below emf's lies below emf itself. Not-a-number falls into the last step.
  size_t StepOf(double emf) const;
  void IndexSteps();

  int32_t lowest_;                  // the tenths at the start of the range
  std::vector<double> boundaries_;  // EMF at (lowest_ + i + 0.5) / 10 °C
  double indexOrigin_ = 0.0;        // EMF where the first step starts
  double stepsPerMv_ = 0.0;
  // stepStarts_[k]: the half tenths whose step lies below k; one more entry than steps.
  std::vector<uint32_t> stepStarts_;
};

template <class EmfAt>
ThermocoupleTenths::ThermocoupleTenths(double from, double to, EmfAt emfAt)
    : lowest_(static_cast<int32_t>(std::lround(from * 10.0))) {
  const int32_t highest = static_cast<int32_t>(std::lround(to * 10.0));
  boundaries_.reserve(static_cast<size_t>(highest - lowest_));
  for (int32_t tenths = lowest_; tenths < highest; ++tenths) boundaries_.push_back(emfAt((tenths + 0.5) / 10.0));
  IndexSteps();
}

}  // namespace travune::qulix
