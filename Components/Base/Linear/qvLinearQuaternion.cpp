#include "qvLinearQuaternion.h"

namespace qvLinear {

Quaternion::Quaternion(double angle, const Normal& axis)
{
    double h = angle * 0.5;
    double s = std::sin(h);
    x = axis.x * s;
    y = axis.y * s;
    z = axis.z * s;
    w = std::cos(h);
    double inverse = 1.0 / std::sqrt(x * x + y * y + z * z + w * w);
    x *= inverse;
    y *= inverse;
    z *= inverse;
    w *= inverse;
}

bool Quaternion::getAngleAxis(double& angle, Normal& axis) const
{
    if (std::fabs(w - 1.0) < epsilonTol) {
        axis = Normal(1.0, 0.0, 0.0);
        angle = 0.0;
        return false;
    }
    double c = w < -1.0 ? -1.0 : (w > 1.0 ? 1.0 : w);
    double h = std::acos(c);
    angle = 2.0 * h;
    double inverse = 1.0 / std::sin(h);
    axis = Normal(x * inverse, y * inverse, z * inverse);
    return true;
}

bool equivalent(const Quaternion& a, const Quaternion& b, double tol)
{
    auto near = [tol](double p, double q) { return std::fabs(p - q) < tol; };
    return (near(a.x, b.x) && near(a.y, b.y) && near(a.z, b.z) && near(a.w, b.w)) ||
           (near(a.x, -b.x) && near(a.y, -b.y) && near(a.z, -b.z) && near(a.w, -b.w));
}

} // namespace qvLinear
