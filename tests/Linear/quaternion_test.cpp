#include "qvLinearMatrix.h"
#include "qvLinearQuaternion.h"

#include "linear_print.h"

#include <gtest/gtest.h>

#include <random>

using namespace qvLinear;

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
