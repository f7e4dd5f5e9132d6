#include "qvLinearLine.h"

#include "linear_print.h"

#include <gtest/gtest.h>

#include <random>

using namespace qvLinear;

namespace {

class RandomGeometry {
public:
    explicit RandomGeometry(unsigned seed) : random(seed) {}
    double value(double range = 10.0) { return std::uniform_real_distribution<double>(-range, range)(random); }
    Point point() { return Point(value(), value(), value()); }
    Vector vector() { return Vector(value(), value(), value()); }
    Normal normal()
    {
        for (;;) {
            Normal n(value(), value(), value());
            if (n.valid)
                return n;
        }
    }

private:
    std::mt19937_64 random;
};

} // namespace

TEST(LinearLine, ConstructionEvaluationAndMoving)
{
    EXPECT_EQ(Line(Point(1, 1, 1), Point(1, 1, 5)).eval(2.0), Point(1, 1, 3));
    EXPECT_FALSE(Line(Point(1, 2, 3), Point(1, 2, 3)).direction.valid);

    Plane p(Point(0, 0, 0), Point(1, 0, 0), Point(0, 1, 0));
    EXPECT_FALSE(Plane(Point(0, 0, 0), Point(1, 1, 1), Point(2, 2, 2)).normal.valid);
    Plane moved = p + Vector(0, 0, 2);
    EXPECT_EQ(moved.eval(Point(5, 5, 5)), 3.0); // signed distance
    EXPECT_EQ(distance(Point(5, 5, -1), moved), 3.0); // unsigned

    ParamPlane pp(Point(1, 0, 0), Point(2, 0, 0), Point(1, 3, 0));
    EXPECT_EQ(pp.eval(Point2(1, 1)), Point(2, 3, 0));
    ParamPlane flipped = -pp;
    EXPECT_EQ(flipped.eval(1, 0), pp.eval(0, 1));
    EXPECT_EQ(Plane(flipped).normal, Normal(0, 0, -1));
}

TEST(LinearLine, LineAndPlaneIntersection)
{
    Plane floor(Point(0, 0, 1), Normal(0, 0, 1));
    bool ok = false;
    Point hit = intersect(Line(Point(0, 0, 0), Point(1, 1, 2)), floor, ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(equivalent(hit, Point(0.5, 0.5, 1)));

    // In the plane, parallel to it, or within the tolerance of parallel: no single point.
    Line inPlane(Point(4, 4, 1), Normal(1, 0, 0));
    EXPECT_EQ(intersect(inPlane, floor, ok), inPlane.point);
    EXPECT_FALSE(ok);
    for (double degrees : {0.4, 0.6}) {
        intersect(Line(Point(0, 0, 5), Normal(std::cos(toRadians(degrees)), 0, std::sin(toRadians(degrees)))), floor, ok);
        EXPECT_EQ(ok, degrees > 0.5) << degrees;
    }
}

TEST(LinearLine, LineLineAndPlanePlaneIntersections)
{
    bool ok = false;
    Point p = intersect(Line(Point(0, 0, 0), Normal(1, 0, 0)), Line(Point(3, -2, 0), Normal(0, 1, 0)), ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(equivalent(p, Point(3, 0, 0)));
    // Skew and parallel lines do not meet.
    intersect(Line(Point(0, 0, 0), Normal(1, 0, 0)), Line(Point(3, -2, 1e-6), Normal(0, 1, 0)), ok);
    EXPECT_FALSE(ok);
    p = intersect(Line(Point(0, 0, 0), Normal(1, 0, 0)), Line(Point(0, 1, 0), Normal(-1, 0, 0)), ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(p, Point(0, 0, 0));

    Line where = intersect(Plane(Point(0, 0, 2), Normal(0, 0, 1)), Plane(Point(5, 0, 0), Normal(1, 0, 0)), ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(isParallel(where.direction, Normal(0, 1, 0)));
    EXPECT_NEAR(distance(Point(5, 9, 2), where), 0.0, 1e-12);
    intersect(Plane(Point(0, 0, 2), Normal(0, 0, 1)), Plane(Point(0, 0, 5), Normal(0, 0, -1)), ok);
    EXPECT_FALSE(ok);

    // Three planes: a corner; two of them parallel; all three through one line.
    Plane x0(Point(1, 0, 0), Normal(1, 0, 0)), y0(Point(0, 2, 0), Normal(0, 1, 0)), z0(Point(0, 0, 3), Normal(0, 0, 1));
    p = intersect(x0, y0, z0, ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(equivalent(p, Point(1, 2, 3)));
    intersect(x0, y0, Plane(Point(0, 7, 0), Normal(0, -1, 0)), ok);
    EXPECT_FALSE(ok);
    intersect(Plane(Point(0, 0, 0), Normal(1, 0, 0)), Plane(Point(0, 0, 0), Normal(0, 1, 0)),
              Plane(Point(0, 0, 0), Normal(1, 1, 0)), ok);
    EXPECT_FALSE(ok);

    RandomGeometry g(12);
    for (int i = 0; i < 2000; ++i) {
        Plane a(g.point(), g.normal()), b(g.point(), g.normal()), c(g.point(), g.normal());
        Line l = intersect(a, b, ok);
        if (ok) {
            EXPECT_NEAR(a.eval(l.eval(3.0)), 0.0, 1e-8);
            EXPECT_NEAR(b.eval(l.eval(3.0)), 0.0, 1e-8);
            Point q = intersect(l, Line(l.eval(2.0), Normal(cross(l.direction, a.normal))), ok);
            EXPECT_TRUE(ok);
            EXPECT_NEAR(distance(q, l.eval(2.0)), 0.0, 1e-9);
        }
        Point corner = intersect(a, b, c, ok);
        if (ok) {
            EXPECT_NEAR(std::fabs(a.eval(corner)) + std::fabs(b.eval(corner)) + std::fabs(c.eval(corner)), 0.0, 1e-6);
        }
    }
}

TEST(LinearLine, ProjectionsAndDistances)
{
    RandomGeometry g(13);
    for (int i = 0; i < 1000; ++i) {
        Point p = g.point();
        Line line(g.point(), g.normal());
        Point foot = project(p, line);
        EXPECT_NEAR(distance(foot, line), 0.0, 1e-9);
        EXPECT_NEAR(distance(p, foot), distance(p, line), 1e-9);

        Plane plane(g.point(), g.normal());
        Point onPlane = project(p, plane);
        EXPECT_NEAR(plane.eval(onPlane), 0.0, 1e-9);
        EXPECT_NEAR(distance(p, onPlane), distance(p, plane), 1e-9);

        ParamPlane pp(g.point(), g.vector(), g.vector());
        if (!pp.normal.valid)
            continue;
        Point2 uv = project(p, pp);
        EXPECT_LT(distance(pp.eval(uv), project(p, Plane(pp))), 1e-6);
    }
    EXPECT_EQ(project(Point(1, 1, 1), ParamLine(Point(0, 0, 0), Vector(0, 0, 0))), 0.0);

    bool ok = false;
    Line shadow = project(Line(Point(0, 0, 5), Point(1, 0, 6)), Plane(Point(0, 0, 0), Normal(0, 0, 1)), ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(shadow.point, Point(0, 0, 0));
    EXPECT_TRUE(equivalent(shadow.direction, Normal(1, 0, 0)));
    Line upright(Point(3, 0, 5), Normal(0, 0, -1));
    shadow = project(upright, Plane(Point(0, 0, 0), Normal(0, 0, 1)), ok);
    EXPECT_FALSE(ok);
    EXPECT_EQ(shadow.point, upright.point);
}

TEST(LinearLine, EquivalenceAndOrthogonalizing)
{
    Line l(Point(0, 0, 0), Normal(1, 1, 0));
    EXPECT_TRUE(equivalent(l, Line(Point(5, 5, 0), Normal(-1, -1, 0))));
    EXPECT_FALSE(equivalent(l, Line(Point(5, 5, 1e-9), Normal(1, 1, 0))));
    EXPECT_FALSE(equivalent(l, Line(Point(0, 0, 0), Normal(1, 0, 0))));
    Plane p(Point(0, 0, 1), Normal(0, 0, 1));
    EXPECT_TRUE(equivalent(p, Plane(Point(9, -4, 1), Normal(0, 0, -1))));
    EXPECT_FALSE(equivalent(p, Plane(Point(9, -4, 1.001), Normal(0, 0, 1))));

    const Point origin(1, 2, 3);
    const Vector u(2, 0, 0), v(3, 1, 1);
    ParamPlane square(origin, u, v, true);
    EXPECT_NEAR(dot(square.uDirection, square.vDirection), 0.0, 1e-12);
    square.orthogonalize(true);
    EXPECT_NEAR(square.uDirection.length() + square.vDirection.length(), 2.0, 1e-12);
    EXPECT_NEAR(distance(square.eval(3, -2), Plane(ParamPlane(origin, u, v))), 0.0, 1e-12);
}
