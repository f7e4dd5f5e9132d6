#ifndef QVLINEAR_LINE_H
#define QVLINEAR_LINE_H

// Lines and planes in point-direction form, with the projections, distances and intersections
// between them. Every predicate uses the package tolerances: epsilonTol for lengths and
// positions, parallelTol and perpendicularTol for directions.

#include "qvBaseExport.h"
#include "qvLinearVector.h"

namespace qvLinear {

class ParamLine;
class ParamPlane;

// An infinite line through a point along a unit direction.
class Line {
public:
    Point point;
    Normal direction;

    Line() = default;
    Line(const Point& point, const Normal& direction) : point(point), direction(direction) {}
    // Through p1 towards p2; the direction is invalid when the points coincide.
    Line(const Point& p1, const Point& p2) : point(p1), direction(p2 - p1) {}
    explicit Line(const ParamLine& line);

    Point eval(double t) const { return point + direction * t; }
    operator Normal() const { return direction; }

    Line& operator+=(const Vector& v) { point += v; return *this; }
    Line& operator-=(const Vector& v) { point -= v; return *this; }
};

// A parametric line: eval(t) = point + t·direction.
class ParamLine {
public:
    Point point;
    Vector direction;

    ParamLine() = default;
    ParamLine(const Point& point, const Vector& direction) : point(point), direction(direction) {}
    // eval(0) = p1, eval(1) = p2.
    ParamLine(const Point& p1, const Point& p2) : point(p1), direction(p2 - p1) {}

    Point eval(double t) const { return point + direction * t; }
    operator Normal() const { return Normal(direction); }
    operator Vector() const { return direction; }

    ParamLine& operator+=(const Vector& v) { point += v; return *this; }
    ParamLine& operator-=(const Vector& v) { point -= v; return *this; }
};

// A plane through a point with a unit normal; its equation is normal·q + calculateD() = 0.
class Plane {
public:
    Point point;
    Normal normal;

    Plane() = default;
    Plane(const Point& point, const Normal& normal) : point(point), normal(normal) {}
    // Through p1, p2 and p3, facing where (p2 - p1) × (p3 - p1) points; the normal is invalid
    // when the points are collinear.
    Plane(const Point& p1, const Point& p2, const Point& p3) : point(p1), normal(cross(p2 - p1, p3 - p1)) {}
    explicit Plane(const ParamPlane& plane);

    double calculateD() const { return -dot(normal, Vector(point.x, point.y, point.z)); }
    // The signed distance of q from the plane (positive on the side the normal faces).
    double eval(const Point& q) const { return dot(normal, Vector(q.x, q.y, q.z)) + calculateD(); }
    operator Normal() const { return normal; }

    Plane& operator+=(const Vector& v) { point += v; return *this; }
    Plane& operator-=(const Vector& v) { point -= v; return *this; }
};

// A parametric plane: eval(u, v) = point + u·uDirection + v·vDirection, with the unit normal
// kept beside the two directions.
class ParamPlane {
public:
    Point point;
    Vector uDirection;
    Vector vDirection;
    Normal normal;

    ParamPlane() = default;
    // eval(0, 0) = p1, eval(1, 0) = p2, eval(0, 1) = p3.
    ParamPlane(const Point& p1, const Point& p2, const Point& p3)
        : point(p1), uDirection(p2 - p1), vDirection(p3 - p1), normal(cross(uDirection, vDirection)) {}
    // The normal is u × v; orthogonal as in orthogonalize(false).
    ParamPlane(const Point& point, const Vector& u, const Vector& v, bool orthogonal = false)
        : point(point), uDirection(u), vDirection(v), normal(cross(u, v))
    {
        if (orthogonal)
            orthogonalize(false);
    }
    // The normal is taken as given (it need not equal u × v); orthogonal as in
    // orthogonalize(false).
    ParamPlane(const Point& point, const Normal& normal, const Vector& u, const Vector& v, bool orthogonal = false)
        : point(point), uDirection(u), vDirection(v), normal(normal)
    {
        if (orthogonal)
            orthogonalize(false);
    }

    Point eval(double u, double v) const { return point + uDirection * u + vDirection * v; }
    Point eval(const Point2& uv) const { return eval(uv.x, uv.y); }

    // Makes the directions perpendicular: u loses its part along the normal, then v its parts
    // along the normal and along u; with unitLength both are also scaled to length 1. The plane
    // keeps its place and its normal.
    QV_BASE_API void orthogonalize(bool unitLength);

    operator Normal() const { return normal; }

    ParamPlane& operator+=(const Vector& v) { point += v; return *this; }
    ParamPlane& operator-=(const Vector& v) { point -= v; return *this; }
};

inline Line::Line(const ParamLine& line) : point(line.point), direction(line.direction) {}
inline Plane::Plane(const ParamPlane& plane) : point(plane.point), normal(plane.normal) {}

// ---- Moving and turning round.

inline Line operator+(Line l, const Vector& v) { return l += v; }
inline Line operator-(Line l, const Vector& v) { return l -= v; }
inline ParamLine operator+(ParamLine l, const Vector& v) { return l += v; }
inline ParamLine operator-(ParamLine l, const Vector& v) { return l -= v; }
inline Plane operator+(Plane p, const Vector& v) { return p += v; }
inline Plane operator-(Plane p, const Vector& v) { return p -= v; }
inline ParamPlane operator+(ParamPlane p, const Vector& v) { return p += v; }
inline ParamPlane operator-(ParamPlane p, const Vector& v) { return p -= v; }
// The same plane facing the other way.
inline Plane operator-(const Plane& p) { return Plane(p.point, -p.normal); }
// The same plane facing the other way: u and v trade places, so eval(a, b) becomes eval(b, a).
inline ParamPlane operator-(const ParamPlane& p)
{
    ParamPlane r = p;
    r.uDirection = p.vDirection;
    r.vDirection = p.uDirection;
    r.normal = -p.normal;
    return r;
}

// ---- Distances (a line's direction and a plane's normal must be valid).

QV_BASE_API double distance2(const Point& p, const Line& line);
QV_BASE_API double distance(const Point& p, const Line& line);
inline double distance(const Point& p, const Plane& plane) { return std::fabs(plane.eval(p)); }
inline double distance2(const Point& p, const Plane& plane) { double d = plane.eval(p); return d * d; }

// ---- Projections.

// The point of the line nearest to p.
QV_BASE_API Point project(const Point& p, const Line& line);
// The parameter t of the point line.eval(t) nearest to p; 0 when the direction is zero.
QV_BASE_API double project(const Point& p, const ParamLine& line);
// The foot of the perpendicular from p on the plane.
QV_BASE_API Point project(const Point& p, const Plane& plane);
// The parameters (u, v) of the point of the plane nearest to p; (0, 0) when the directions do
// not span a plane.
QV_BASE_API Point2 project(const Point& p, const ParamPlane& plane);
// The part of v along n.
inline Vector project(const Vector& v, const Normal& n) { return n * dot(n, v); }
// The part of v that lies in the plane.
inline Vector project(const Vector& v, const Plane& plane) { return v - plane.normal * dot(plane.normal, v); }
// The line's shadow on the plane along the plane's normal. ok is false (and the line comes back
// as it is) when the line is within degreeTol of the normal or either direction is invalid.
QV_BASE_API Line project(const Line& line, const Plane& plane, bool& ok);

// ---- Intersections; ok tells whether there is exactly one.

// The crossing point of two lines. ok is false for parallel lines and for lines that pass each
// other further apart than epsilonTol (relative to the size of their coordinates); the result is
// then the first line's point.
QV_BASE_API Point intersect(const Line& a, const Line& b, bool& ok);
// ok is false (and the result is the line's point) when the line lies in the plane or runs
// parallel to it, within perpendicularTol.
QV_BASE_API Point intersect(const Line& line, const Plane& plane, bool& ok);
// The line where two planes meet; ok is false for parallel planes (within degreeTol), and the
// result is then a line through the first plane's point with an invalid direction.
QV_BASE_API Line intersect(const Plane& a, const Plane& b, bool& ok);
// The single point of three planes; ok is false (and the result is the first plane's point)
// when two of them are parallel or the three meet in a line or not at all.
QV_BASE_API Point intersect(const Plane& a, const Plane& b, const Plane& c, bool& ok);

// ---- Sameness.

// The same line: parallel directions (either orientation) and each point within epsilonTol of
// the other line.
QV_BASE_API bool equivalent(const Line& a, const Line& b);
// The same plane: parallel normals (either orientation) and each point within epsilonTol of
// the other plane.
QV_BASE_API bool equivalent(const Plane& a, const Plane& b);

} // namespace qvLinear

#endif
