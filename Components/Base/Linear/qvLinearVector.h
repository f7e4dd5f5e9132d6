#ifndef QVLINEAR_VECTOR_H
#define QVLINEAR_VECTOR_H

// Points, vectors and unit normals: plain values (no virtual operations, no heap parts) whose
// components are stored in the order x, y, z (, w) and nothing else. Default construction leaves
// the components uninitialised on purpose: these types are used in bulk.

#include "qvBaseExport.h"
#include "qvLinearTolerance.h"

#include <cmath>
#include <type_traits>

namespace qvLinear {

// Tag: a Normal built or set with it takes its components as they are and is marked valid; the
// caller promises unit length. Matrices use it the same way for "this projective matrix is
// affine".
struct Promise {};

class Normal;
class VectorFlt;
class PointFlt;
class HPoint;
class RPoint;

namespace internal {

// Array access shared by every point and vector type: the components as an array of N values
// (get, set, indexing and the pointer conversion). It adds no data, so the types keep exactly
// their components.
template <class Derived, class Real, int N> class ComponentArray {
public:
    void get(Real* out) const
    {
        for (int i = 0; i < N; ++i)
            out[i] = data()[i];
    }
    void set(const Real* in)
    {
        for (int i = 0; i < N; ++i)
            data()[i] = in[i];
    }
    Real& operator[](int i) { return data()[i]; }
    Real operator[](int i) const { return data()[i]; }
    operator Real*() { return data(); }
    operator const Real*() const { return data(); }

private:
    Real* data() { return &static_cast<Derived*>(this)->x; }
    const Real* data() const { return &static_cast<const Derived*>(this)->x; }
};

} // namespace internal

// A displacement in double precision.
class Vector : public internal::ComponentArray<Vector, double, 3> {
public:
    using ComponentArray::set;

    double x, y, z;

    Vector() = default;
    Vector(double x, double y, double z) : x(x), y(y), z(z) {}
    explicit Vector(const double* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]) {}
    explicit Vector(const Normal& n);
    Vector(const VectorFlt& v);

    void set(double nx, double ny, double nz) { x = nx; y = ny; z = nz; }

    Vector& operator+=(const Vector& v) { x += v.x; y += v.y; z += v.z; return *this; }
    Vector& operator-=(const Vector& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
    Vector& operator*=(double s) { x *= s; y *= s; z *= s; return *this; }
    Vector& operator/=(double s) { return *this *= 1.0 / s; }

    double length() const { return std::sqrt(length2()); }
    double length2() const { return x * x + y * y + z * z; }
    // Scales the vector to unit length and returns true; a vector whose squared length is not
    // above epsilon2Tol becomes the zero vector and the result is false.
    inline bool normalize();
    inline Normal normalized() const;
    // A vector perpendicular to this one, not normalised: the cross product of (-z, x, y) with
    // this vector. Kept as the package has always defined it, so it is also zero for multiples
    // of (1, -1, 1).
    inline Vector orthogonalVector() const;
};

// A unit direction, or the invalid normal (0, 0, 0) with valid false.
class Normal {
public:
    double x, y, z;
    bool valid;

    Normal() = default;
    Normal(double x, double y, double z) { set(x, y, z); }
    Normal(Promise, double x, double y, double z) : x(x), y(y), z(z), valid(true) {}
    explicit Normal(const double* xyz) { set(xyz[0], xyz[1], xyz[2]); }
    Normal(Promise, const double* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]), valid(true) {}
    explicit Normal(const Vector& v) { set(v.x, v.y, v.z); }
    Normal(Promise, const Vector& v) : x(v.x), y(v.y), z(v.z), valid(true) {}

    void set(double nx, double ny, double nz)
    {
        double s = nx * nx + nz * nz + ny * ny;
        if (!(s > epsilon2Tol)) {
            x = y = z = 0.0;
            valid = false;
            return;
        }
        double inverse = 1.0 / std::sqrt(s);
        x = nx * inverse;
        y = ny * inverse;
        z = nz * inverse;
        valid = true;
    }
    void set(Promise, double nx, double ny, double nz) { x = nx; y = ny; z = nz; valid = true; }
    void set(const double* xyz) { set(xyz[0], xyz[1], xyz[2]); }
    void set(Promise p, const double* xyz) { set(p, xyz[0], xyz[1], xyz[2]); }
    void get(double* xyz) const { xyz[0] = x; xyz[1] = y; xyz[2] = z; }

    bool isValid() const { return valid; }
    double operator[](int i) const { return (&x)[i]; }
    operator const double*() const { return &x; }
};

class VectorFlt : public internal::ComponentArray<VectorFlt, float, 3> {
public:
    using ComponentArray::set;

    float x, y, z;

    VectorFlt() = default;
    VectorFlt(float x, float y, float z) : x(x), y(y), z(z) {}
    explicit VectorFlt(const float* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]) {}
    explicit VectorFlt(const Vector& v)
        : x(static_cast<float>(v.x)), y(static_cast<float>(v.y)), z(static_cast<float>(v.z)) {}

    void set(float nx, float ny, float nz) { x = nx; y = ny; z = nz; }

    VectorFlt& operator+=(const VectorFlt& v) { x += v.x; y += v.y; z += v.z; return *this; }
    VectorFlt& operator-=(const VectorFlt& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
    VectorFlt& operator*=(float s) { x *= s; y *= s; z *= s; return *this; }
    VectorFlt& operator/=(float s) { return *this *= 1.0f / s; }

    float length() const { return std::sqrt(length2()); }
    float length2() const { return x * x + y * y + z * z; }
    // As Vector::normalize, with epsilon2TolFlt.
    bool normalize()
    {
        float s = x * x + z * z + y * y;
        if (!(s > epsilon2TolFlt)) {
            x = y = z = 0.0f;
            return false;
        }
        *this *= 1.0f / std::sqrt(s);
        return true;
    }
    VectorFlt normalized() const { VectorFlt v = *this; v.normalize(); return v; }
    inline VectorFlt orthogonalVector() const;
};

class Vector2 : public internal::ComponentArray<Vector2, double, 2> {
public:
    using ComponentArray::set;

    double x, y;

    Vector2() = default;
    Vector2(double x, double y) : x(x), y(y) {}
    explicit Vector2(const double* xy) : x(xy[0]), y(xy[1]) {}

    void set(double nx, double ny) { x = nx; y = ny; }

    Vector2& operator+=(const Vector2& v) { x += v.x; y += v.y; return *this; }
    Vector2& operator-=(const Vector2& v) { x -= v.x; y -= v.y; return *this; }
    Vector2& operator*=(double s) { x *= s; y *= s; return *this; }
    Vector2& operator/=(double s) { return *this *= 1.0 / s; }

    double length() const { return std::sqrt(length2()); }
    double length2() const { return x * x + y * y; }
    // As Vector::normalize.
    bool normalize()
    {
        double s = length2();
        if (!(s > epsilon2Tol)) {
            x = y = 0.0;
            return false;
        }
        *this *= 1.0 / std::sqrt(s);
        return true;
    }
    Vector2 normalized() const { Vector2 v = *this; v.normalize(); return v; }
    // The vector turned a quarter turn counter-clockwise.
    Vector2 orthogonalVector() const { return Vector2(-y, x); }
};

// A position in double precision.
class Point : public internal::ComponentArray<Point, double, 3> {
public:
    using ComponentArray::set;

    double x, y, z;

    Point() = default;
    Point(double x, double y, double z) : x(x), y(y), z(z) {}
    explicit Point(const double* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]) {}
    Point(const PointFlt& p);
    // Divides by w without testing it.
    explicit Point(const HPoint& p);
    // The Cartesian part; the weight is dropped.
    explicit Point(const RPoint& p);

    void set(double nx, double ny, double nz) { x = nx; y = ny; z = nz; }

    Point& operator+=(const Vector& v) { x += v.x; y += v.y; z += v.z; return *this; }
    Point& operator-=(const Vector& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
};

class PointFlt : public internal::ComponentArray<PointFlt, float, 3> {
public:
    using ComponentArray::set;

    float x, y, z;

    PointFlt() = default;
    PointFlt(float x, float y, float z) : x(x), y(y), z(z) {}
    explicit PointFlt(const float* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]) {}
    explicit PointFlt(const Point& p)
        : x(static_cast<float>(p.x)), y(static_cast<float>(p.y)), z(static_cast<float>(p.z)) {}

    void set(float nx, float ny, float nz) { x = nx; y = ny; z = nz; }

    PointFlt& operator+=(const VectorFlt& v) { x += v.x; y += v.y; z += v.z; return *this; }
    PointFlt& operator-=(const VectorFlt& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
};

// A two-dimensional position; also the parameter pair (u, v) of a ParamPlane.
class Point2 : public internal::ComponentArray<Point2, double, 2> {
public:
    using ComponentArray::set;

    double x, y;

    Point2() = default;
    Point2(double x, double y) : x(x), y(y) {}
    explicit Point2(const double* xy) : x(xy[0]), y(xy[1]) {}

    void set(double nx, double ny) { x = nx; y = ny; }

    Point2& operator+=(const Vector2& v) { x += v.x; y += v.y; return *this; }
    Point2& operator-=(const Vector2& v) { x -= v.x; y -= v.y; return *this; }
};

// Homogeneous point: the Cartesian point is (x/w, y/w, z/w).
class HPoint : public internal::ComponentArray<HPoint, double, 4> {
public:
    using ComponentArray::set;

    double x, y, z, w;

    HPoint() = default;
    HPoint(double x, double y, double z, double w) : x(x), y(y), z(z), w(w) {}
    explicit HPoint(const double* xyzw) : x(xyzw[0]), y(xyzw[1]), z(xyzw[2]), w(xyzw[3]) {}
    // (x, y, z, 1)
    explicit HPoint(const Point& p) : x(p.x), y(p.y), z(p.z), w(1.0) {}
    // (x·w, y·w, z·w, w)
    explicit HPoint(const RPoint& p);

    void set(double nx, double ny, double nz, double nw) { x = nx; y = ny; z = nz; w = nw; }
};

// Rational point: the Cartesian point (x, y, z) with the weight w.
class RPoint : public internal::ComponentArray<RPoint, double, 4> {
public:
    using ComponentArray::set;

    double x, y, z, w;

    RPoint() = default;
    RPoint(double x, double y, double z, double w) : x(x), y(y), z(z), w(w) {}
    explicit RPoint(const double* xyzw) : x(xyzw[0]), y(xyzw[1]), z(xyzw[2]), w(xyzw[3]) {}
    // (x, y, z, 1)
    explicit RPoint(const Point& p) : x(p.x), y(p.y), z(p.z), w(1.0) {}
    // (x/w, y/w, z/w, w)
    explicit RPoint(const HPoint& p) : x(p.x / p.w), y(p.y / p.w), z(p.z / p.w), w(p.w) {}

    void set(double nx, double ny, double nz, double nw) { x = nx; y = ny; z = nz; w = nw; }
};

// ---- Conversions declared before their target was complete.

inline Vector::Vector(const Normal& n) : x(n.x), y(n.y), z(n.z) {}
inline Vector::Vector(const VectorFlt& v) : x(v.x), y(v.y), z(v.z) {}
inline Point::Point(const PointFlt& p) : x(p.x), y(p.y), z(p.z) {}
inline Point::Point(const HPoint& p)
{
    double inverse = 1.0 / p.w;
    x = p.x * inverse;
    y = p.y * inverse;
    z = p.z * inverse;
}
inline Point::Point(const RPoint& p) : x(p.x), y(p.y), z(p.z) {}
inline HPoint::HPoint(const RPoint& p) : x(p.x * p.w), y(p.y * p.w), z(p.z * p.w), w(p.w) {}

// ---- Arithmetic. Points differ by vectors; vectors add, scale and negate.

inline Vector operator+(const Vector& a, const Vector& b) { return Vector(a.x + b.x, a.y + b.y, a.z + b.z); }
inline Vector operator-(const Vector& a, const Vector& b) { return Vector(a.x - b.x, a.y - b.y, a.z - b.z); }
inline Vector operator-(const Vector& a) { return Vector(-a.x, -a.y, -a.z); }
inline Vector operator*(const Vector& a, double s) { return Vector(a.x * s, a.y * s, a.z * s); }
inline Vector operator*(double s, const Vector& a) { return a * s; }
inline Vector operator/(const Vector& a, double s) { return a * (1.0 / s); }
inline Vector operator*(const Normal& n, double s) { return Vector(n.x * s, n.y * s, n.z * s); }
inline Vector operator*(double s, const Normal& n) { return n * s; }
inline Normal operator-(const Normal& n)
{
    Normal r = n;
    r.x = -n.x;
    r.y = -n.y;
    r.z = -n.z;
    return r;
}
inline Vector operator-(const Point& a, const Point& b) { return Vector(a.x - b.x, a.y - b.y, a.z - b.z); }
inline Point operator+(const Point& p, const Vector& v) { return Point(p.x + v.x, p.y + v.y, p.z + v.z); }
inline Point operator-(const Point& p, const Vector& v) { return Point(p.x - v.x, p.y - v.y, p.z - v.z); }

inline VectorFlt operator+(const VectorFlt& a, const VectorFlt& b) { return VectorFlt(a.x + b.x, a.y + b.y, a.z + b.z); }
inline VectorFlt operator-(const VectorFlt& a, const VectorFlt& b) { return VectorFlt(a.x - b.x, a.y - b.y, a.z - b.z); }
inline VectorFlt operator-(const VectorFlt& a) { return VectorFlt(-a.x, -a.y, -a.z); }
inline VectorFlt operator*(const VectorFlt& a, float s) { return VectorFlt(a.x * s, a.y * s, a.z * s); }
inline VectorFlt operator*(float s, const VectorFlt& a) { return a * s; }
inline VectorFlt operator/(const VectorFlt& a, float s) { return a * (1.0f / s); }
inline VectorFlt operator-(const PointFlt& a, const PointFlt& b) { return VectorFlt(a.x - b.x, a.y - b.y, a.z - b.z); }
inline PointFlt operator+(const PointFlt& p, const VectorFlt& v) { return PointFlt(p.x + v.x, p.y + v.y, p.z + v.z); }
inline PointFlt operator-(const PointFlt& p, const VectorFlt& v) { return PointFlt(p.x - v.x, p.y - v.y, p.z - v.z); }

inline Vector2 operator+(const Vector2& a, const Vector2& b) { return Vector2(a.x + b.x, a.y + b.y); }
inline Vector2 operator-(const Vector2& a, const Vector2& b) { return Vector2(a.x - b.x, a.y - b.y); }
inline Vector2 operator-(const Vector2& a) { return Vector2(-a.x, -a.y); }
inline Vector2 operator*(const Vector2& a, double s) { return Vector2(a.x * s, a.y * s); }
inline Vector2 operator*(double s, const Vector2& a) { return a * s; }
inline Vector2 operator/(const Vector2& a, double s) { return a * (1.0 / s); }
inline Vector2 operator-(const Point2& a, const Point2& b) { return Vector2(a.x - b.x, a.y - b.y); }
inline Point2 operator+(const Point2& p, const Vector2& v) { return Point2(p.x + v.x, p.y + v.y); }
inline Point2 operator-(const Point2& p, const Vector2& v) { return Point2(p.x - v.x, p.y - v.y); }

// ---- Exact comparison of x, y and z (and w); a Normal's valid flag is not compared.

namespace internal {

// Component count and type of each point and vector type, for the generic functions below.
template <class T> struct Components { static constexpr int count = 0; };
template <> struct Components<Point> { static constexpr int count = 3; using Real = double; };
template <> struct Components<Vector> { static constexpr int count = 3; using Real = double; };
template <> struct Components<PointFlt> { static constexpr int count = 3; using Real = float; };
template <> struct Components<VectorFlt> { static constexpr int count = 3; using Real = float; };
template <> struct Components<Point2> { static constexpr int count = 2; using Real = double; };
template <> struct Components<Vector2> { static constexpr int count = 2; using Real = double; };
template <> struct Components<HPoint> { static constexpr int count = 4; using Real = double; };
template <> struct Components<RPoint> { static constexpr int count = 4; using Real = double; };

template <class T> using EnableFor = std::enable_if_t<(Components<T>::count > 0), int>;
template <class T> using RealOf = typename Components<T>::Real;

template <class T> bool sameComponents(const T& a, const T& b, int count)
{
    for (int i = 0; i < count; ++i)
        if (a[i] != b[i])
            return false;
    return true;
}

} // namespace internal

// Exact comparison of x, y and z (x and y in the plane): the w of HPoint and RPoint is not
// compared.
template <class T, internal::EnableFor<T> = 0> bool operator==(const T& a, const T& b)
{
    return internal::sameComponents(a, b, std::min(internal::Components<T>::count, 3));
}
template <class T, internal::EnableFor<T> = 0> bool operator!=(const T& a, const T& b) { return !(a == b); }
inline bool operator==(const Normal& a, const Normal& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }
inline bool operator!=(const Normal& a, const Normal& b) { return !(a == b); }

// ---- Linear combinations of points, vectors and homogeneous points (every component, w too).

// The mean of a and b.
template <class T, internal::EnableFor<T> = 0> T combine(const T& a, const T& b)
{
    T r;
    for (int i = 0; i < internal::Components<T>::count; ++i)
        r[i] = (a[i] + b[i]) * internal::RealOf<T>(0.5);
    return r;
}
// s·a + t·b
template <class T, internal::EnableFor<T> = 0>
T combine(internal::RealOf<T> s, const T& a, internal::RealOf<T> t, const T& b)
{
    T r;
    for (int i = 0; i < internal::Components<T>::count; ++i)
        r[i] = s * a[i] + t * b[i];
    return r;
}
// The mean of n values (the centroid of n points); n must be at least 1.
template <class T, internal::EnableFor<T> = 0> T combine(int n, const T* values)
{
    T r;
    for (int i = 0; i < internal::Components<T>::count; ++i) {
        internal::RealOf<T> sum = 0;
        for (int k = 0; k < n; ++k)
            sum += values[k][i];
        r[i] = sum / static_cast<internal::RealOf<T>>(n);
    }
    return r;
}
// The sum of weights[k]·values[k]; the weights are used as given (an affine combination of
// points needs weights that sum to 1).
template <class T, internal::EnableFor<T> = 0>
T combine(int n, const internal::RealOf<T>* weights, const T* values)
{
    T r;
    for (int i = 0; i < internal::Components<T>::count; ++i) {
        internal::RealOf<T> sum = 0;
        for (int k = 0; k < n; ++k)
            sum += weights[k] * values[k][i];
        r[i] = sum;
    }
    return r;
}

// True when every component differs by strictly less than tol (a per-component test, not a
// distance).
template <class T, internal::EnableFor<T> = 0>
bool equivalent(const T& a, const T& b, internal::RealOf<T> tol)
{
    for (int i = 0; i < internal::Components<T>::count; ++i)
        if (!(std::fabs(a[i] - b[i]) < tol))
            return false;
    return true;
}
inline bool equivalent(const Point& a, const Point& b) { return equivalent(a, b, epsilonTol); }
inline bool equivalent(const Vector& a, const Vector& b) { return equivalent(a, b, epsilonTol); }
inline bool equivalent(const PointFlt& a, const PointFlt& b) { return equivalent(a, b, epsilonTolFlt); }
inline bool equivalent(const VectorFlt& a, const VectorFlt& b) { return equivalent(a, b, epsilonTolFlt); }
// Normals: the same validity and components within tol.
inline bool equivalent(const Normal& a, const Normal& b, double tol = epsilonTol)
{
    return a.valid == b.valid && std::fabs(a.x - b.x) < tol && std::fabs(a.y - b.y) < tol &&
           std::fabs(a.z - b.z) < tol;
}

// ---- Products, angles and distances.

inline double dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double dot(const Normal& a, const Normal& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double dot(const Normal& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double dot(const Vector& a, const Normal& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline float dot(const VectorFlt& a, const VectorFlt& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline double dot(const Vector2& a, const Vector2& b) { return a.x * b.x + a.y * b.y; }

namespace internal {
template <class R, class A, class B> R crossOf(const A& a, const B& b)
{
    return R(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}
} // namespace internal

inline Vector cross(const Vector& a, const Vector& b) { return internal::crossOf<Vector>(a, b); }
inline Vector cross(const Vector& a, const Normal& b) { return internal::crossOf<Vector>(a, b); }
inline Vector cross(const Normal& a, const Vector& b) { return internal::crossOf<Vector>(a, b); }
inline Vector cross(const Normal& a, const Normal& b) { return internal::crossOf<Vector>(a, b); }
inline VectorFlt cross(const VectorFlt& a, const VectorFlt& b) { return internal::crossOf<VectorFlt>(a, b); }
// The z component of the three-dimensional cross product.
inline double cross(const Vector2& a, const Vector2& b) { return a.x * b.y - a.y * b.x; }

// The angle between two normals in radians, in [0, pi]; the valid flags are not consulted.
inline double angle(const Normal& a, const Normal& b)
{
    double d = dot(a, b);
    if (d < -1.0)
        d = -1.0;
    else if (d > 1.0)
        d = 1.0;
    return std::acos(d);
}
// Within degreeTol of the same line, either orientation; false when either normal is invalid.
inline bool isParallel(const Normal& a, const Normal& b)
{
    return a.valid && b.valid && !(std::fabs(dot(a, b)) < parallelTol);
}
// Within degreeTol of a right angle; false when either normal is invalid.
inline bool isPerpendicular(const Normal& a, const Normal& b)
{
    return a.valid && b.valid && !(std::fabs(dot(a, b)) > perpendicularTol);
}

inline double distance2(const Point& a, const Point& b) { return (a - b).length2(); }
inline double distance(const Point& a, const Point& b) { return (a - b).length(); }
inline float distance2(const PointFlt& a, const PointFlt& b) { return (a - b).length2(); }
inline float distance(const PointFlt& a, const PointFlt& b) { return (a - b).length(); }
inline double distance2(const Point2& a, const Point2& b) { return (a - b).length2(); }
inline double distance(const Point2& a, const Point2& b) { return (a - b).length(); }

// ---- Members that need the complete types.

inline bool Vector::normalize()
{
    Normal n(x, y, z);
    x = n.x;
    y = n.y;
    z = n.z;
    return n.valid;
}
inline Normal Vector::normalized() const { return Normal(x, y, z); }
inline Vector Vector::orthogonalVector() const { return cross(Vector(-z, x, y), *this); }
inline VectorFlt VectorFlt::orthogonalVector() const { return cross(VectorFlt(-z, x, y), *this); }

// Plain, trivially copyable values holding exactly their components.
namespace internal {
template <class T, class C, int N> constexpr bool isPlainValue()
{
    return std::is_trivial<T>::value && std::is_standard_layout<T>::value && sizeof(T) == N * sizeof(C);
}
static_assert(isPlainValue<Vector, double, 3>(), "Vector is three doubles");
static_assert(isPlainValue<Point, double, 3>(), "Point is three doubles");
static_assert(isPlainValue<VectorFlt, float, 3>(), "VectorFlt is three floats");
static_assert(isPlainValue<PointFlt, float, 3>(), "PointFlt is three floats");
static_assert(isPlainValue<Vector2, double, 2>(), "Vector2 is two doubles");
static_assert(isPlainValue<Point2, double, 2>(), "Point2 is two doubles");
static_assert(isPlainValue<HPoint, double, 4>(), "HPoint is four doubles");
static_assert(isPlainValue<RPoint, double, 4>(), "RPoint is four doubles");
static_assert(std::is_trivial<Normal>::value && std::is_standard_layout<Normal>::value &&
                  sizeof(Normal) == 4 * sizeof(double),
              "Normal is three doubles and a flag");
} // namespace internal

} // namespace qvLinear

#endif
