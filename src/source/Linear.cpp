// Linear scaling helpers shared by sources and writers.
#include "source/Linear.h"

namespace travune {

void ComposeLinear(double* m, double* b, double m2, double b2) {
  const double outer = *m;
  *m = outer * m2;
  *b = outer * b2 + *b;
}

void LinearFromPoints(double* m, double* b, double x1, double x2, double y1, double y2) {
  double d = x2 - x1;
  if (d == 0.0) d = 1.0;
  *m = (y2 - y1) / d;
  *b = y1 - *m * x1;
}

}  // namespace travune
