#include "linear_print.h"
#include "qvLinearMatrix.h"
#include "qvLinearQuaternion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace qvLinear;

namespace {

class RandomMatrices {
public:
    explicit RandomMatrices(unsigned seed) : random(seed) {}
    double value(double range) { return std::uniform_real_distribution<double>(-range, range)(random); }
    Point point() { return Point(value(50), value(50), value(50)); }
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

double scaleOf(const Point& p) { return 1.0 + std::fabs(p.x) + std::fabs(p.y) + std::fabs(p.z); }

// Row i of m applied to (p, 1), written out independently of the library.
double row(const ProjMatrix& m, int i, const Point& p)
{
    return m.m[i][0] * p.x + m.m[i][1] * p.y + m.m[i][2] * p.z + m.m[i][3];
}

} // namespace

TEST(LinearMatrix, TransformsProductsAndInversesAgree)
{
    RandomMatrices g(31);
    for (int n = 0; n < 3000; ++n) {
        AffineMatrix m = g.affine();
        Point p = g.point();
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
    RandomMatrices g(32);
    for (int n = 0; n < 3000; ++n) {
        AffineMatrix m = g.affine();
        Normal normal(g.value(1), g.value(1), g.value(1));
        if (!normal.valid)
            continue;
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
    EXPECT_EQ(p * Point(1, 0, 3), m * Point(1, 0, 3));
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
    std::mt19937_64 random(21);
    std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
    std::uniform_real_distribution<double> angles(0.01, 2.0 * 3.141592653589793 - 0.01);
    for (int i = 0; i < 5000; ++i) {
        Normal axis(coordinate(random), coordinate(random), coordinate(random));
        if (!axis.valid)
            continue;
        double a = angles(random);
        Quaternion q(a, axis);
        EXPECT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1.0, 1e-15);
        double back = 0.0;
        Normal backAxis;
        ASSERT_TRUE(q.getAngleAxis(back, backAxis));
        EXPECT_NEAR(back, a, 1e-9);
        EXPECT_TRUE(equivalent(backAxis, axis, 1e-9));
        EXPECT_TRUE(equivalent(Quaternion(back, backAxis), q, 1e-12));
    }

    double a = 5.0;
    Normal axis(0, 1, 0);
    EXPECT_FALSE(Quaternion(0.0, Normal(0, 0, 1)).getAngleAxis(a, axis));
    EXPECT_EQ(a, 0.0);
    EXPECT_EQ(axis, Normal(1, 0, 0));
    EXPECT_TRUE(axis.valid);
    // Half a turn: w is 0.
    EXPECT_TRUE(Quaternion(3.141592653589793, Normal(0, 0, 1)).getAngleAxis(a, axis));
    EXPECT_NEAR(a, 3.141592653589793, 1e-15);
}

TEST(LinearQuaternion, RotationsComposeAndAgreeWithMatrices)
{
    Quaternion quarter(toRadians(90.0), Normal(0, 0, 1));
    EXPECT_TRUE(equivalent(quarter.rotate(Vector(1, 0, 0)), Vector(0, 1, 0), 1e-15));
    EXPECT_TRUE(equivalent(quarter.rotate(Point(1, 0, 5)), Point(0, 1, 5), 1e-15));
    EXPECT_TRUE(equivalent(quarter.rotate(Normal(0, 1, 0)), Normal(Promise(), -1, 0, 0), 1e-15));

    std::mt19937_64 random(22);
    std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
    auto randomRotation = [&]() {
        return Quaternion(coordinate(random) * 3.0, Normal(coordinate(random), coordinate(random), 0.5));
    };
    for (int i = 0; i < 2000; ++i) {
        Quaternion a = randomRotation(), b = randomRotation();
        Vector v(coordinate(random), coordinate(random), coordinate(random));
        EXPECT_TRUE(equivalent((a * b).rotate(v), a.rotate(b.rotate(v)), 1e-14));
        EXPECT_TRUE(equivalent(a.conjugate().rotate(a.rotate(v)), v, 1e-14));
        EXPECT_TRUE(equivalent(AffineMatrix::rotation(a).transform(v), a.rotate(v), 1e-14));
        EXPECT_NEAR(a.rotate(v).length(), v.length(), 1e-14);
    }
    Quaternion q = randomRotation();
    EXPECT_TRUE(equivalent(q, Quaternion(-q.x, -q.y, -q.z, -q.w)));
    EXPECT_FALSE(equivalent(q, q.conjugate()));
}
