#include "qvLinearLine.h"
#include "qvLinearMatrix.h"
#include "qvLinearQuaternion.h"
#include "qvLinearVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <random>

using namespace qvLinear;

// Readable failure messages: without these GoogleTest prints the component pointer.
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

namespace {

Normal atDegrees(double degrees)
{
    return Normal(std::cos(toRadians(degrees)), std::sin(toRadians(degrees)), 0.0);
}

} // namespace

TEST(LinearTolerance, DerivedTolerancesAreNotRecomputedWhenDegreeTolChanges)
{
    double saved = degreeTol;
    degreeTol = 10.0;
    EXPECT_TRUE(isParallel(atDegrees(0.0), atDegrees(0.4)));
    EXPECT_FALSE(isParallel(atDegrees(0.0), atDegrees(5.0))); // not recomputed
    degreeTol = saved;
}

TEST(LinearNormal, NormalisationThresholdAndPromise)
{
    Normal zero(0.0, 0.0, 0.0);
    EXPECT_FALSE(zero.isValid());
    EXPECT_EQ(zero, Normal(Promise(), 0.0, 0.0, 0.0)); // components 0; validity not compared
    EXPECT_DOUBLE_EQ(Normal(3.0, 0.0, 4.0).z, 0.8);

    Vector tiny(1e-13, 0.0, 0.0);
    EXPECT_FALSE(tiny.normalize());
    EXPECT_EQ(tiny, Vector(0.0, 0.0, 0.0));
    Vector small(1e-11, 0.0, 0.0);
    EXPECT_TRUE(small.normalize());
    EXPECT_DOUBLE_EQ(small.x, 1.0);

    EXPECT_FALSE(equivalent(zero, Normal(Promise(), 0.0, 0.0, 0.0))); // validity matters here

    VectorFlt f(1e-7f, 0.0f, 0.0f), g(0.0f, 0.0f, 1e-5f);
    EXPECT_FALSE(f.normalize());
    EXPECT_TRUE(g.normalize());
}

TEST(LinearNormal, ParallelPerpendicularAndAngleTolerances)
{
    Normal base = atDegrees(0.0);
    EXPECT_TRUE(isParallel(base, atDegrees(0.4)));
    EXPECT_FALSE(isParallel(base, atDegrees(0.6)));
    EXPECT_TRUE(isParallel(base, -atDegrees(0.4))); // orientation ignored
    EXPECT_TRUE(isPerpendicular(base, atDegrees(89.6)));
    EXPECT_FALSE(isPerpendicular(base, atDegrees(89.4)));

    Normal invalid(0.0, 0.0, 0.0);
    EXPECT_FALSE(isParallel(invalid, invalid));
    EXPECT_FALSE(isPerpendicular(invalid, base));

    // Rounding can push the dot product of equal normals above 1: the angle is still 0.
    Normal over(Promise(), 1.0000000000000002, 0.0, 0.0);
    EXPECT_GT(dot(over, over), 1.0);
    EXPECT_EQ(angle(over, over), 0.0);
    EXPECT_EQ(angle(over, -over), std::acos(-1.0));
    EXPECT_NEAR(angle(base, atDegrees(30.0)), toRadians(30.0), 1e-15);
}

TEST(LinearPoint, ConversionsBetweenPointForms)
{
    // A rational point holds the position and its weight, a homogeneous one the weighted
    // coordinates.
    RPoint weighted(1.0, 2.0, 3.0, 2.0);
    HPoint h(weighted);
    EXPECT_EQ(h, HPoint(2.0, 4.0, 6.0, 2.0));
    EXPECT_EQ(Point(h), Point(1.0, 2.0, 3.0));
    EXPECT_EQ(RPoint(h), weighted);
    EXPECT_EQ(RPoint(Point(1.5, -2.0, 4.0)).w, 1.0);
    EXPECT_TRUE(std::isinf(Point(HPoint(1.0, 0.0, 0.0, 0.0)).x)); // no test of w

    // == compares x, y and z only: the weight is not compared.
    EXPECT_TRUE(HPoint(1.0, 2.0, 3.0, 1.0) == HPoint(1.0, 2.0, 3.0, 5.0));
    EXPECT_TRUE(RPoint(1.0, 2.0, 3.0, 1.0) == RPoint(1.0, 2.0, 3.0, 5.0));
    EXPECT_TRUE(RPoint(1.0, 2.0, 3.0, 1.0) != RPoint(1.0, 2.0, 4.0, 1.0));
}

TEST(LinearPoint, EquivalenceIsStrictPerComponent)
{
    Point p(1.0, 2.0, 3.0);
    EXPECT_FALSE(equivalent(p, p + Vector(0.25, 0.0, 0.0), 0.25));
    EXPECT_TRUE(equivalent(p, p + Vector(0.125, 0.125, -0.125), 0.25));
    // Per component: a diagonal offset farther than tol still counts.
    EXPECT_TRUE(equivalent(Vector(0, 0, 0), Vector(0.2, 0.2, 0.2), 0.25));
    EXPECT_TRUE(equivalent(p, p + Vector(1e-13, 0.0, 0.0)));
    EXPECT_FALSE(equivalent(p, p + Vector(1e-11, 0.0, 0.0)));
}

TEST(LinearVector, ProductsCombinationsAndDistances)
{
    Normal nx(1, 0, 0);
    EXPECT_EQ(cross(nx, Vector(0, 1, 0)), Vector(0, 0, 1));
    EXPECT_EQ(cross(Vector2(1, 0), Vector2(0, 1)), 1.0);

    for (Vector v : {Vector(3, -1, 2), Vector(0, 0, 5), Vector(1e-3, 7, 0)}) {
        EXPECT_NEAR(dot(v.orthogonalVector(), v), 0.0, 1e-12);
        EXPECT_GT(v.orthogonalVector().length(), 0.0);
    }
    EXPECT_EQ(Vector2(2, 1).orthogonalVector(), Vector2(-1, 2));

    Point pts[3] = {Point(0, 0, 0), Point(3, 0, 0), Point(0, 3, 3)};
    EXPECT_EQ(combine(3, pts), Point(1, 1, 1));
    double weights[3] = {0.5, 0.25, 0.25};
    EXPECT_EQ(combine(3, weights, pts), Point(0.75, 0.75, 0.75));
    EXPECT_EQ(combine(2.0, Vector(1, 1, 1), -1.0, Vector(0, 1, 2)), Vector(2, 1, 0));
    EXPECT_EQ(combine(HPoint(0, 0, 0, 1), HPoint(2, 2, 2, 3)), HPoint(1, 1, 1, 2));
    EXPECT_EQ(distance2(Point(1, 2, 3), Point(4, 6, 3)), 25.0);
    EXPECT_EQ(distance(Point2(0, 0), Point2(3, 4)), 5.0);
}

namespace {

// Random values, coordinates in [-range, range], valid normals and well-conditioned matrices.
class Random {
public:
    explicit Random(unsigned seed) : random(seed) {}
    double value(double range = 10.0) { return std::uniform_real_distribution<double>(-range, range)(random); }
    Point point(double range = 10.0) { return Point(value(range), value(range), value(range)); }
    Vector vector(double range = 10.0) { return Vector(value(range), value(range), value(range)); }
    Normal normal()
    {
        for (;;) {
            Normal n(value(), value(), value());
            if (n.valid)
                return n;
        }
    }
    // A linear part in [-2, 2] whose determinant is not tiny, and a translation in [-100, 100].
    AffineMatrix affine()
    {
        for (;;) {
            AffineMatrix m;
            for (int i = 0; i < 3; ++i) {
                for (int j = 0; j < 3; ++j)
                    m.m[i][j] = value(2.0);
                m.m[i][3] = value(100.0);
            }
            if (std::fabs(m.determinant()) > 0.5)
                return m;
        }
    }
    ProjMatrix projective()
    {
        ProjMatrix m(affine());
        for (int j = 0; j < 3; ++j)
            m.m[3][j] = value(0.01);
        m.m[3][3] = 1.0 + value(0.2);
        return m;
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

TEST(LinearLine, Intersections)
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

    Random g(12);
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
    Random g(13);
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

namespace {

double scaleOf(const Point& p) { return 1.0 + std::fabs(p.x) + std::fabs(p.y) + std::fabs(p.z); }

// Row i of m applied to (p, 1), written out independently of the library.
double row(const ProjMatrix& m, int i, const Point& p)
{
    return m.m[i][0] * p.x + m.m[i][1] * p.y + m.m[i][2] * p.z + m.m[i][3];
}

} // namespace

TEST(LinearMatrix, TransformsProductsAndInversesAgree)
{
    Random g(31);
    for (int n = 0; n < 3000; ++n) {
        AffineMatrix m = g.affine();
        Point p = g.point(50);
        Point q = m * p;
        const ProjMatrix asProj(m);
        EXPECT_LT(distance(q, Point(row(asProj, 0, p), row(asProj, 1, p), row(asProj, 2, p))), 1e-12 * scaleOf(q));
        Vector v(p.x, p.y, p.z); // a vector takes no translation
        EXPECT_LT(((m * v) - (q - m * Point(0, 0, 0))).length(), 1e-10 * scaleOf(q));
        bool ok = false;
        AffineMatrix inverse = m.inverse(ok);
        ASSERT_TRUE(ok);
        EXPECT_TRUE(equivalent(m * inverse, AffineMatrix::identity(), 1e-9));
        EXPECT_LT(distance(inverse * q, p), 1e-9 * scaleOf(p));
        // Products apply right to left.
        AffineMatrix other = g.affine();
        Point stepwise = m * (other * p);
        EXPECT_LT(distance((m * other) * p, stepwise), 1e-11 * scaleOf(stepwise));

        ProjMatrix pm = g.projective();
        q = pm * p;
        const double w = row(pm, 3, p);
        EXPECT_LT(distance(q, Point(row(pm, 0, p) / w, row(pm, 1, p) / w, row(pm, 2, p) / w)), 1e-12 * scaleOf(q));
        EXPECT_LT(distance(Point(pm * HPoint(p)), q), 1e-12 * scaleOf(q));
        ProjMatrix pInverse = pm.inverse(ok);
        ASSERT_TRUE(ok);
        EXPECT_TRUE(equivalent(pm * pInverse, ProjMatrix::identity(), 1e-9));
        EXPECT_LT(distance(pInverse * q, p), 1e-8 * scaleOf(p));
        EXPECT_LT(distance((pm * ProjMatrix(other)) * p, pm * (other * p)), 1e-9 * scaleOf(other * p) * scaleOf(q));
    }
}

TEST(LinearMatrix, NormalsStayPerpendicularToTransformedSurfaces)
{
    Random g(32);
    for (int n = 0; n < 3000; ++n) {
        AffineMatrix m = g.affine();
        Normal normal = g.normal();
        Vector tangent = Vector(normal).orthogonalVector();
        Normal moved = m * normal;
        ASSERT_TRUE(moved.valid);
        EXPECT_NEAR(Vector(moved).length(), 1.0, 1e-14);
        Vector movedTangent = m * tangent;
        EXPECT_NEAR(dot(moved, movedTangent), 0.0, 1e-12 * movedTangent.length());
        // Still on the same side: the normal keeps facing the direction it was pushed along.
        EXPECT_GT(dot(moved, m * Vector(normal)), 0.0);
    }
    // A mirror keeps the facing too; a flattening map loses the normal.
    AffineMatrix mirror = AffineMatrix::scaling(-1.0, 1.0, 1.0);
    EXPECT_EQ(mirror * Normal(1, 0, 0), Normal(-1, 0, 0));
    EXPECT_EQ(AffineMatrix::scaling(2.0, 1.0, 1.0) * Normal(1, 1, 0), Normal(1, 2, 0));
    EXPECT_FALSE((AffineMatrix::scaling(1.0, 1.0, 0.0) * Normal(1, 0, 0)).valid);
}

TEST(LinearMatrix, SingularMatricesReportFailure)
{
    bool ok = true;
    AffineMatrix flat = AffineMatrix::scaling(1.0, 1.0, 0.0);
    EXPECT_EQ(flat.inverse(ok), AffineMatrix::identity());
    EXPECT_FALSE(ok);
    // Nearly singular relative to its size, however large the entries.
    AffineMatrix nearly = AffineMatrix::identity();
    nearly.m[0][0] = 1e6;
    nearly.m[0][1] = 1e6;
    nearly.m[1][0] = 1e6;
    nearly.m[1][1] = 1e6 * (1.0 + 1e-15);
    nearly.inverse(ok);
    EXPECT_FALSE(ok);
    // Tiny but well shaped is fine.
    AffineMatrix small = AffineMatrix::scaling(1e-5, 1e-5, 1e-5);
    EXPECT_TRUE(equivalent(small.inverse(ok), AffineMatrix::scaling(1e5, 1e5, 1e5), 1e-6));
    EXPECT_TRUE(ok);

    ProjMatrix projectiveFlat(1.0);
    projectiveFlat.m[3][3] = 0.0;
    EXPECT_EQ(projectiveFlat.inverse(ok), ProjMatrix::identity());
    EXPECT_FALSE(ok);
}

TEST(LinearMatrix, BuildingTransformsAndConversions)
{
    // Each step applies after the ones before: translate, then turn a quarter about z.
    AffineMatrix m = AffineMatrix::identity();
    m.translate(Vector(1, 0, 0)).rotate(toRadians(90.0), Normal(0, 0, 1)).scale(2.0);
    EXPECT_TRUE(equivalent(m * Point(0, 0, 0), Point(0, 2, 0), 1e-15));
    EXPECT_TRUE(equivalent(m * Point(1, 0, 3), Point(0, 4, 6), 1e-15));
    EXPECT_TRUE(equivalent(m * Vector(1, 0, 0), Vector(0, 2, 0), 1e-15));

    ProjMatrix p(m);
    EXPECT_EQ(AffineMatrix(Promise(), p), m);
    ProjMatrix translated = ProjMatrix::identity();
    translated.translate(Vector(0, 0, 5)).scale(1, 1, 2);
    EXPECT_EQ(translated * Point(1, 1, 1), Point(1, 1, 12));
    EXPECT_EQ(m.transposed().m[3][0], m.m[0][3]);

    // Single precision follows the double result to float accuracy.
    AffineMatrixFlt f(m);
    PointFlt pf = f * PointFlt(1, 0, 3);
    EXPECT_NEAR(pf.y, 4.0f, 1e-5f);
    bool ok = false;
    EXPECT_TRUE(equivalent(f * f.inverse(ok), AffineMatrixFlt::identity()));
    EXPECT_TRUE(ok);
    EXPECT_NEAR((ProjMatrixFlt(p) * VectorFlt(1, 0, 0)).y, 2.0f, 1e-6f);
}

TEST(LinearQuaternion, AngleAxisRoundTrips)
{
    const double pi = 3.141592653589793;
    Random g(21);
    for (int i = 0; i < 5000; ++i) {
        Normal axis = g.normal();
        double a = pi + g.value(pi - 0.01); // clear of no turn and a whole turn: no axis there
        Quaternion q(a, axis);
        EXPECT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1.0, 1e-15);
        double back = 0.0;
        Normal backAxis;
        ASSERT_TRUE(q.getAngleAxis(back, backAxis));
        EXPECT_NEAR(back, a, 1e-9);
        EXPECT_TRUE(equivalent(backAxis, axis, 1e-9));
    }

    double a = 5.0;
    Normal axis(0, 1, 0);
    EXPECT_FALSE(Quaternion(0.0, Normal(0, 0, 1)).getAngleAxis(a, axis));
    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(axis, Normal(1, 0, 0));
    EXPECT_TRUE(axis.valid);
    // Half a turn: w is 0.
    EXPECT_TRUE(Quaternion(pi, Normal(0, 0, 1)).getAngleAxis(a, axis));
    EXPECT_NEAR(a, pi, 1e-15);
}

TEST(LinearQuaternion, RotationsComposeAndAgreeWithMatrices)
{
    Quaternion quarter(toRadians(90.0), Normal(0, 0, 1));
    EXPECT_TRUE(equivalent(quarter.rotate(Vector(1, 0, 0)), Vector(0, 1, 0), 1e-15));
    EXPECT_TRUE(equivalent(quarter.rotate(Point(1, 0, 5)), Point(0, 1, 5), 1e-15));
    EXPECT_TRUE(equivalent(quarter.rotate(Normal(0, 1, 0)), Normal(Promise(), -1, 0, 0), 1e-15));

    Random g(22);
    auto randomRotation = [&g] { return Quaternion(g.value(3.0), g.normal()); };
    for (int i = 0; i < 2000; ++i) {
        Quaternion a = randomRotation(), b = randomRotation();
        Vector v = g.vector(1.0);
        EXPECT_TRUE(equivalent((a * b).rotate(v), a.rotate(b.rotate(v)), 1e-14));
        EXPECT_TRUE(equivalent(a.conjugate().rotate(a.rotate(v)), v, 1e-14));
        EXPECT_TRUE(equivalent(AffineMatrix::rotation(a).transform(v), a.rotate(v), 1e-14));
        EXPECT_NEAR(a.rotate(v).length(), v.length(), 1e-14);
    }
    Quaternion q = randomRotation();
    EXPECT_TRUE(equivalent(q, Quaternion(-q.x, -q.y, -q.z, -q.w)));
    EXPECT_FALSE(equivalent(q, q.conjugate()));
}
