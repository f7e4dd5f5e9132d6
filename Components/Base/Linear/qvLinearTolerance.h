#ifndef QVLINEAR_TOLERANCE_H
#define QVLINEAR_TOLERANCE_H

#include "qvBaseExport.h"

namespace qvLinear {

// Process-wide tolerances of every geometric predicate in the package. They get their values
// when the library is loaded; the derived ones are computed once from degreeTol at that moment,
// so assigning degreeTol later leaves them as they are.
extern QV_BASE_API double epsilonTol;        // lengths and positions: 1e-12
extern QV_BASE_API double epsilon2Tol;       // squared lengths: 1e-24
extern QV_BASE_API float epsilonTolFlt;      // single precision: 1e-6
extern QV_BASE_API float epsilon2TolFlt;     // 1e-12
extern QV_BASE_API double degreeTol;         // angles, in degrees: 0.5
extern QV_BASE_API double perpendicularTol;  // sin(degreeTol)
extern QV_BASE_API double perpendicular2Tol; // perpendicularTol squared
extern QV_BASE_API double parallelTol;       // cos(degreeTol)
extern QV_BASE_API double parallel2Tol;      // parallelTol squared

inline double toRadians(double degrees) { return degrees * 0.017453292519943295; }
inline double toDegrees(double radians) { return radians * 57.29577951308232; }

} // namespace qvLinear

#endif
