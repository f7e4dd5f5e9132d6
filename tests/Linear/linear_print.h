#ifndef QVLINEAR_TEST_PRINT_H
#define QVLINEAR_TEST_PRINT_H

// Readable failure messages: without these GoogleTest prints the component pointer.

#include "qvLinearLine.h"
#include "qvLinearMatrix.h"
#include "qvLinearQuaternion.h"

#include <ostream>

namespace qvLinear {

template <class T> void printComponents(const T& v, std::ostream* os)
{
    *os << "(";
    for (int i = 0; i < internal::Components<T>::count; ++i)
        *os << (i ? ", " : "") << v[i];
    *os << ")";
}
inline void PrintTo(const Point& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const Vector& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const PointFlt& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const VectorFlt& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const Point2& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const Vector2& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const HPoint& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const RPoint& v, std::ostream* os) { printComponents(v, os); }
inline void PrintTo(const Normal& n, std::ostream* os)
{
    *os << "(" << n.x << ", " << n.y << ", " << n.z << (n.valid ? ")" : ", invalid)");
}
inline void PrintTo(const Quaternion& q, std::ostream* os)
{
    *os << "(" << q.x << ", " << q.y << ", " << q.z << ", " << q.w << ")";
}

} // namespace qvLinear

#endif
