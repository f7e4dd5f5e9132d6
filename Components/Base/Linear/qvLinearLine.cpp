#include "qvLinearLine.h"

#include <algorithm>

namespace qvLinear {

namespace {

double largestMagnitude(const Point& a, const Point& b)
{
    return std::max({std::fabs(a.x), std::fabs(a.y), std::fabs(a.z), std::fabs(b.x), std::fabs(b.y), std::fabs(b.z)});
}

} // namespace

void ParamPlane::orthogonalize(bool unitLength)
{
    if (normal.valid) {
        uDirection = project(uDirection, Plane(point, normal));
        vDirection = project(vDirection, Plane(point, normal));
    }
    double uu = uDirection.length2();
    if (uu > epsilon2Tol)
        vDirection -= uDirection * (dot(uDirection, vDirection) / uu);
    if (unitLength) {
        uDirection.normalize();
        vDirection.normalize();
    }
}

double distance2(const Point& p, const Line& line)
{
    return cross(line.direction, p - line.point).length2();
}

double distance(const Point& p, const Line& line)
{
    return std::sqrt(distance2(p, line));
}

Point project(const Point& p, const Line& line)
{
    return line.point + line.direction * dot(line.direction, p - line.point);
}

double project(const Point& p, const ParamLine& line)
{
    double length2 = line.direction.length2();
    if (!(length2 > epsilon2Tol))
        return 0.0;
    return dot(line.direction, p - line.point) / length2;
}

Point project(const Point& p, const Plane& plane)
{
    return p - plane.normal * plane.eval(p);
}

Point2 project(const Point& p, const ParamPlane& plane)
{
    // Least squares: the Gram system of the two directions.
    const Vector& u = plane.uDirection;
    const Vector& v = plane.vDirection;
    Vector w = p - plane.point;
    double uu = dot(u, u), uv = dot(u, v), vv = dot(v, v);
    double det = uu * vv - uv * uv;
    if (!(det > epsilon2Tol * uu * vv) || !(uu > epsilon2Tol) || !(vv > epsilon2Tol))
        return Point2(0.0, 0.0);
    double uw = dot(u, w), vw = dot(v, w);
    return Point2((uw * vv - vw * uv) / det, (vw * uu - uw * uv) / det);
}

Line project(const Line& line, const Plane& plane, bool& ok)
{
    ok = line.direction.valid && plane.normal.valid && !isParallel(line.direction, plane.normal);
    if (!ok)
        return line;
    return Line(project(line.point, plane), Normal(project(Vector(line.direction), plane)));
}

Point intersect(const Line& a, const Line& b, bool& ok)
{
    ok = false;
    if (!a.direction.valid || !b.direction.valid || isParallel(a.direction, b.direction))
        return a.point;
    // The nearest points of the two lines; they must (nearly) coincide.
    Vector w = a.point - b.point;
    double c = dot(a.direction, b.direction);
    double da = dot(a.direction, w), db = dot(b.direction, w);
    double den = 1.0 - c * c;
    double s = (c * db - da) / den;
    double t = (db - c * da) / den;
    Point onA = a.eval(s), onB = b.eval(t);
    double tol = epsilonTol * (1.0 + std::max(largestMagnitude(a.point, b.point), largestMagnitude(onA, onB)));
    if (!(distance(onA, onB) < tol))
        return a.point;
    ok = true;
    return combine(onA, onB);
}

Point intersect(const Line& line, const Plane& plane, bool& ok)
{
    const Normal& n = plane.normal;
    double den = dot(n, line.direction);
    if (std::fabs(den) > perpendicularTol) {
        const Point& p = line.point;
        double t = -(dot(n, Vector(p.x, p.y, p.z)) + plane.calculateD()) / den;
        ok = true;
        return p + line.direction * t;
    }
    ok = false;
    return line.point;
}

Line intersect(const Plane& a, const Plane& b, bool& ok)
{
    ok = a.normal.valid && b.normal.valid && !isParallel(a.normal, b.normal);
    if (!ok)
        return Line(a.point, Normal(0.0, 0.0, 0.0));
    // The point of the line nearest to a's point: a's point + c1·na + c2·nb, solved relative to
    // a's point to keep far-away planes precise.
    const Normal& na = a.normal;
    const Normal& nb = b.normal;
    double c = dot(na, nb);
    double hb = dot(nb, b.point - a.point);
    double den = 1.0 - c * c;
    double c1 = -hb * c / den;
    double c2 = hb / den;
    return Line(a.point + na * c1 + nb * c2, Normal(cross(na, nb)));
}

Point intersect(const Plane& a, const Plane& b, const Plane& c, bool& ok)
{
    ok = false;
    if (!a.normal.valid || !b.normal.valid || !c.normal.valid || isParallel(b.normal, c.normal))
        return a.point;
    Vector bc = cross(b.normal, c.normal);
    // a's normal lying in the plane of the other two (within degreeTol) leaves no single point.
    if (isPerpendicular(a.normal, Normal(bc)))
        return a.point;
    double det = dot(a.normal, bc);
    double hb = dot(b.normal, b.point - a.point);
    double hc = dot(c.normal, c.point - a.point);
    ok = true;
    return a.point + (cross(c.normal, a.normal) * hb + cross(a.normal, b.normal) * hc) / det;
}

bool equivalent(const Line& a, const Line& b)
{
    return isParallel(a.direction, b.direction) && distance(b.point, a) < epsilonTol &&
           distance(a.point, b) < epsilonTol;
}

bool equivalent(const Plane& a, const Plane& b)
{
    return isParallel(a.normal, b.normal) && std::fabs(a.eval(b.point)) < epsilonTol &&
           std::fabs(b.eval(a.point)) < epsilonTol;
}

} // namespace qvLinear
