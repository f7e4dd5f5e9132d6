#include "qvLinearVector.h"

#include "linear_print.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace qvLinear;

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
