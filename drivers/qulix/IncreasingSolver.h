// Inverts a smooth increasing function on a bracket by Newton steps that fall back to
// bisection whenever a step would leave the bracket; used for the sensor characteristics.
#pragma once

#include <cmath>

namespace travune::qulix {

// A function's value and first derivative at one point.
struct ValueAndSlope {
  double value;
  double slope;
};

// Returns t in [lo, hi] with f(t).value = target, for f increasing on [lo, hi] with
// f(lo) <= target <= f(hi); start is the first guess. Converges to about 1e-9 in t.
template <class Function>
double SolveIncreasing(Function f, double target, double lo, double hi, double start) {
  constexpr double kTolerance = 1e-9;
  constexpr int kMaxSteps = 200;  // bisection alone needs about 45 for a 2000-wide bracket
  double t = (start > lo && start < hi) ? start : lo + 0.5 * (hi - lo);
  for (int step = 0; step < kMaxSteps; ++step) {
    const ValueAndSlope at = f(t);
    const double residual = at.value - target;
    if (residual == 0.0) return t;
    if (residual < 0.0) {
      lo = t;
    } else {
      hi = t;
    }
    double next = t - residual / at.slope;
    if (!(at.slope > 0.0) || !(next > lo && next < hi)) next = lo + 0.5 * (hi - lo);
    if (std::fabs(next - t) <= kTolerance) return next;
    t = next;
  }
  return t;
}

}  // namespace travune::qulix
