#include "qvLinearTolerance.h"

#include <cmath>

namespace qvLinear {

// Defined in this order on purpose: each derived value is computed from the ones above it when
// the library is loaded.
double epsilonTol = 1e-12;
double epsilon2Tol = 1e-24;
float epsilonTolFlt = 1e-6f;
float epsilon2TolFlt = 1e-12f;
double degreeTol = 0.5;
double perpendicularTol = std::sin(toRadians(degreeTol));
double perpendicular2Tol = perpendicularTol * perpendicularTol;
double parallelTol = std::cos(toRadians(degreeTol));
double parallel2Tol = parallelTol * parallelTol;

} // namespace qvLinear
