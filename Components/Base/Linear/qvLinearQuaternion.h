#ifndef QVLINEAR_QUATERNION_H
#define QVLINEAR_QUATERNION_H

#include "qvBaseExport.h"
#include "qvLinearVector.h"

namespace qvLinear {

// A rotation as the unit quaternion (axis·sin(angle/2), cos(angle/2)). Rotations follow the
// right-hand rule: a positive angle about +z turns +x towards +y.
class Quaternion : public internal::ComponentArray<Quaternion, double, 4> {
public:
    using ComponentArray::set;

    double x, y, z, w;

    Quaternion() = default;
    // Taken as given (callers pass a unit quaternion).
    Quaternion(double x, double y, double z, double w) : x(x), y(y), z(z), w(w) {}
    explicit Quaternion(const double* xyzw) : x(xyzw[0]), y(xyzw[1]), z(xyzw[2]), w(xyzw[3]) {}
    // The rotation by angle (radians) about axis; the result is scaled to unit length, without a
    // test for zero.
    QV_BASE_API Quaternion(double angle, const Normal& axis);

    static Quaternion identity() { return Quaternion(0.0, 0.0, 0.0, 1.0); }

    void set(double nx, double ny, double nz, double nw) { x = nx; y = ny; z = nz; w = nw; }

    // The angle in [0, 2·pi] and the unit axis of the rotation. For the identity rotation (w
    // within epsilonTol of 1) the angle is 0, the axis (1, 0, 0), and the result false.
    QV_BASE_API bool getAngleAxis(double& angle, Normal& axis) const;

    // The opposite rotation.
    Quaternion conjugate() const { return Quaternion(-x, -y, -z, w); }

    Vector rotate(const Vector& v) const
    {
        // v + 2w(q × v) + 2 q × (q × v), with q the vector part.
        Vector q(x, y, z);
        Vector t = cross(q, v) * 2.0;
        return v + t * w + cross(q, t);
    }
    Point rotate(const Point& p) const
    {
        Vector v = rotate(Vector(p.x, p.y, p.z));
        return Point(v.x, v.y, v.z);
    }
    Normal rotate(const Normal& n) const
    {
        Normal r = n;
        Vector v = rotate(Vector(n));
        r.x = v.x;
        r.y = v.y;
        r.z = v.z;
        return r;
    }
};

// a·b rotates by b first, then by a.
inline Quaternion operator*(const Quaternion& a, const Quaternion& b)
{
    return Quaternion(a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
                      a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
                      a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w,
                      a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z);
}
inline bool operator==(const Quaternion& a, const Quaternion& b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z && a.w == b.w;
}
inline bool operator!=(const Quaternion& a, const Quaternion& b) { return !(a == b); }

// The same rotation within tol on every component; q and -q are the same rotation and count as
// equivalent.
QV_BASE_API bool equivalent(const Quaternion& a, const Quaternion& b, double tol = epsilonTol);

static_assert(std::is_trivial<Quaternion>::value && sizeof(Quaternion) == 4 * sizeof(double),
              "Quaternion is four doubles");

} // namespace qvLinear

#endif
