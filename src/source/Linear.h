// Linear scaling helpers shared by sources and writers: y = m * x + b.
#pragma once

namespace travune {

// Given y = m*x + b and an inner map x = m2*u + b2, replaces (m, b) by (m*m2, m*b2 + b).
void ComposeLinear(double* m, double* b, double m2, double b2);
// The line through (x1, y1) and (x2, y2); a zero x-distance counts as 1.0.
void LinearFromPoints(double* m, double* b, double x1, double x2, double y1, double y2);

}  // namespace travune
