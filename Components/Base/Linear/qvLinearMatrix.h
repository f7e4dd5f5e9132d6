#ifndef QVLINEAR_MATRIX_H
#define QVLINEAR_MATRIX_H

// Affine and projective transforms in double and single precision.
//
// Convention: points and vectors are columns, and a matrix M maps p to M·p. In a product A·B
// the transform B applies first. Storage is row by row, m[row][column]. An AffineMatrix keeps
// three rows of four: the linear part in columns 0 to 2 and the translation in column 3; its
// fourth row is always (0, 0, 0, 1) and is not stored. A ProjMatrix keeps all four rows.
//
// translate, scale and rotate apply the new transform after the existing one: M becomes T·M.
// Vectors ignore the translation; normals go through the inverse transpose of the linear part
// so that they stay perpendicular to the surfaces they belong to.

#include "qvLinearQuaternion.h"
#include "qvLinearVector.h"

#include <cmath>

namespace qvLinear {

namespace internal {

template <class Real> struct MatrixTypes;
template <> struct MatrixTypes<double> { using PointT = Point; using VectorT = Vector; };
template <> struct MatrixTypes<float> { using PointT = PointFlt; using VectorT = VectorFlt; };

template <class Real> double singularTol();
template <> inline double singularTol<double>() { return epsilonTol; }
template <> inline double singularTol<float>() { return epsilonTolFlt; }

// Cofactors of the upper-left 3 × 3 block of rows a, in double; returns the determinant.
template <class Rows> double cofactors3(const Rows& a, double c[3][3])
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            int i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
            c[i][j] = double(a[i1][j1]) * a[i2][j2] - double(a[i1][j2]) * a[i2][j1];
        }
    return a[0][0] * c[0][0] + a[0][1] * c[0][1] + a[0][2] * c[0][2];
}

} // namespace internal

template <class Real> class ProjMatrixOf;

template <class Real> class AffineMatrixOf {
public:
    using PointT = typename internal::MatrixTypes<Real>::PointT;
    using VectorT = typename internal::MatrixTypes<Real>::VectorT;

    Real m[3][4];

    AffineMatrixOf() = default;
    // s times the identity: a uniform scale about the origin (the zero matrix for 0).
    explicit AffineMatrixOf(Real s)
    {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = i == j ? s : Real(0);
    }
    // Twelve values, row by row.
    explicit AffineMatrixOf(const Real* rows)
    {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = rows[i * 4 + j];
    }
    template <class Other> explicit AffineMatrixOf(const AffineMatrixOf<Other>& a)
    {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = static_cast<Real>(a.m[i][j]);
    }
    // The first three rows of p; the caller promises that its fourth row is (0, 0, 0, 1).
    AffineMatrixOf(Promise, const ProjMatrixOf<Real>& p)
    {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = p.m[i][j];
    }

    static AffineMatrixOf identity() { return AffineMatrixOf(Real(1)); }
    static AffineMatrixOf translation(const VectorT& v) { return identity().translate(v); }
    static AffineMatrixOf scaling(Real sx, Real sy, Real sz)
    {
        AffineMatrixOf r(Real(1));
        r.m[0][0] = sx;
        r.m[1][1] = sy;
        r.m[2][2] = sz;
        return r;
    }
    static AffineMatrixOf rotation(const Quaternion& q)
    {
        double x = q.x, y = q.y, z = q.z, w = q.w;
        const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
                                {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
                                {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}};
        AffineMatrixOf a(Real(0));
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                a.m[i][j] = static_cast<Real>(r[i][j]);
        return a;
    }
    static AffineMatrixOf rotation(double angle, const Normal& axis) { return rotation(Quaternion(angle, axis)); }

    Real* operator[](int row) { return m[row]; }
    const Real* operator[](int row) const { return m[row]; }

    AffineMatrixOf& translate(const VectorT& v)
    {
        m[0][3] += v.x;
        m[1][3] += v.y;
        m[2][3] += v.z;
        return *this;
    }
    AffineMatrixOf& scale(Real sx, Real sy, Real sz)
    {
        const Real s[3] = {sx, sy, sz};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] *= s[i];
        return *this;
    }
    AffineMatrixOf& scale(Real s) { return scale(s, s, s); }
    AffineMatrixOf& rotate(const Quaternion& q) { return *this = rotation(q) * *this; }
    AffineMatrixOf& rotate(double angle, const Normal& axis) { return rotate(Quaternion(angle, axis)); }

    // The determinant of the linear part.
    double determinant() const
    {
        double c[3][3];
        return internal::cofactors3(m, c);
    }

    // The inverse transform. ok is false, and the identity comes back, when the linear part is
    // singular: its determinant is not above the tolerance (epsilonTol, epsilonTolFlt) times
    // the product of its row lengths, which bounds it.
    AffineMatrixOf inverse(bool& ok) const
    {
        double c[3][3];
        double det = internal::cofactors3(m, c);
        double bound = 1.0;
        for (int i = 0; i < 3; ++i)
            bound *= std::sqrt(double(m[i][0]) * m[i][0] + double(m[i][1]) * m[i][1] + double(m[i][2]) * m[i][2]);
        ok = std::fabs(det) > internal::singularTol<Real>() * bound && std::isfinite(det);
        if (!ok)
            return identity();
        AffineMatrixOf r;
        double inverseDet = 1.0 / det;
        for (int i = 0; i < 3; ++i) {
            double t = 0.0;
            for (int j = 0; j < 3; ++j) {
                double v = c[j][i] * inverseDet;
                r.m[i][j] = static_cast<Real>(v);
                t -= v * m[j][3];
            }
            r.m[i][3] = static_cast<Real>(t);
        }
        return r;
    }

    // The full 4 × 4 transpose, which is projective in general.
    ProjMatrixOf<Real> transposed() const { return ProjMatrixOf<Real>(*this).transpose(); }

    PointT transform(const PointT& p) const
    {
        return PointT(m[0][0] * p.x + m[0][1] * p.y + m[0][2] * p.z + m[0][3],
                      m[1][0] * p.x + m[1][1] * p.y + m[1][2] * p.z + m[1][3],
                      m[2][0] * p.x + m[2][1] * p.y + m[2][2] * p.z + m[2][3]);
    }
    VectorT transform(const VectorT& v) const
    {
        return VectorT(m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z,
                       m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
                       m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z);
    }
    // By the inverse transpose of the linear part (its cofactors, signed by the determinant),
    // normalised; the invalid normal when the linear part flattens the direction away.
    Normal transform(const Normal& n) const
    {
        double c[3][3];
        double sign = internal::cofactors3(m, c) < 0.0 ? -1.0 : 1.0;
        return Normal(sign * (c[0][0] * n.x + c[0][1] * n.y + c[0][2] * n.z),
                      sign * (c[1][0] * n.x + c[1][1] * n.y + c[1][2] * n.z),
                      sign * (c[2][0] * n.x + c[2][1] * n.y + c[2][2] * n.z));
    }
};

template <class Real> class ProjMatrixOf {
public:
    using PointT = typename internal::MatrixTypes<Real>::PointT;
    using VectorT = typename internal::MatrixTypes<Real>::VectorT;

    Real m[4][4];

    ProjMatrixOf() = default;
    // s times the identity.
    explicit ProjMatrixOf(Real s)
    {
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = i == j ? s : Real(0);
    }
    // Sixteen values, row by row.
    explicit ProjMatrixOf(const Real* rows)
    {
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = rows[i * 4 + j];
    }
    template <class Other> explicit ProjMatrixOf(const ProjMatrixOf<Other>& p)
    {
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = static_cast<Real>(p.m[i][j]);
    }
    ProjMatrixOf(const AffineMatrixOf<Real>& a)
    {
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] = a.m[i][j];
        m[3][0] = m[3][1] = m[3][2] = Real(0);
        m[3][3] = Real(1);
    }

    static ProjMatrixOf identity() { return ProjMatrixOf(Real(1)); }

    Real* operator[](int row) { return m[row]; }
    const Real* operator[](int row) const { return m[row]; }

    ProjMatrixOf& transpose()
    {
        for (int i = 0; i < 4; ++i)
            for (int j = i + 1; j < 4; ++j) {
                Real t = m[i][j];
                m[i][j] = m[j][i];
                m[j][i] = t;
            }
        return *this;
    }
    ProjMatrixOf transposed() const { return ProjMatrixOf(*this).transpose(); }
    ProjMatrixOf& translate(const VectorT& v)
    {
        // T·M: row i gains v[i] times the last row.
        const Real t[3] = {v.x, v.y, v.z};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] += t[i] * m[3][j];
        return *this;
    }
    ProjMatrixOf& scale(Real sx, Real sy, Real sz)
    {
        const Real s[3] = {sx, sy, sz};
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 4; ++j)
                m[i][j] *= s[i];
        return *this;
    }
    ProjMatrixOf& rotate(const Quaternion& q) { return *this = AffineMatrixOf<Real>::rotation(q) * *this; }

    // Gauss-Jordan elimination with partial pivoting, in double. ok is false, and the identity
    // comes back, when a pivot is not above the tolerance (epsilonTol, epsilonTolFlt) times the
    // largest entry.
    ProjMatrixOf inverse(bool& ok) const
    {
        double a[4][8];
        double largest = 0.0;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                a[i][j] = m[i][j];
                a[i][j + 4] = i == j ? 1.0 : 0.0;
                largest = std::fmax(largest, std::fabs(a[i][j]));
            }
        ok = false;
        double tol = internal::singularTol<Real>() * largest;
        for (int col = 0; col < 4; ++col) {
            int pivot = col;
            for (int i = col + 1; i < 4; ++i)
                if (std::fabs(a[i][col]) > std::fabs(a[pivot][col]))
                    pivot = i;
            if (!(std::fabs(a[pivot][col]) > tol))
                return identity();
            if (pivot != col)
                for (int j = 0; j < 8; ++j) {
                    double t = a[col][j];
                    a[col][j] = a[pivot][j];
                    a[pivot][j] = t;
                }
            double inversePivot = 1.0 / a[col][col];
            for (int j = 0; j < 8; ++j)
                a[col][j] *= inversePivot;
            for (int i = 0; i < 4; ++i) {
                if (i == col || a[i][col] == 0.0)
                    continue;
                double f = a[i][col];
                for (int j = 0; j < 8; ++j)
                    a[i][j] -= f * a[col][j];
            }
        }
        ProjMatrixOf r;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                r.m[i][j] = static_cast<Real>(a[i][j + 4]);
        ok = true;
        return r;
    }

    // The Cartesian image of p: divided by the resulting w, without a test of w.
    PointT transform(const PointT& p) const
    {
        Real w = m[3][0] * p.x + m[3][1] * p.y + m[3][2] * p.z + m[3][3];
        Real inverse = Real(1) / w;
        return PointT((m[0][0] * p.x + m[0][1] * p.y + m[0][2] * p.z + m[0][3]) * inverse,
                      (m[1][0] * p.x + m[1][1] * p.y + m[1][2] * p.z + m[1][3]) * inverse,
                      (m[2][0] * p.x + m[2][1] * p.y + m[2][2] * p.z + m[2][3]) * inverse);
    }
    HPoint transform(const HPoint& p) const
    {
        HPoint r;
        for (int i = 0; i < 4; ++i)
            r[i] = m[i][0] * p.x + m[i][1] * p.y + m[i][2] * p.z + m[i][3] * p.w;
        return r;
    }
    // By the upper-left 3 × 3 block.
    VectorT transform(const VectorT& v) const
    {
        return VectorT(m[0][0] * v.x + m[0][1] * v.y + m[0][2] * v.z,
                       m[1][0] * v.x + m[1][1] * v.y + m[1][2] * v.z,
                       m[2][0] * v.x + m[2][1] * v.y + m[2][2] * v.z);
    }
};

using AffineMatrix = AffineMatrixOf<double>;
using AffineMatrixFlt = AffineMatrixOf<float>;
using ProjMatrix = ProjMatrixOf<double>;
using ProjMatrixFlt = ProjMatrixOf<float>;

// ---- Products: B applies first, then A.

template <class Real> AffineMatrixOf<Real> operator*(const AffineMatrixOf<Real>& a, const AffineMatrixOf<Real>& b)
{
    AffineMatrixOf<Real> r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j) {
            Real s = j == 3 ? a.m[i][3] : Real(0);
            for (int k = 0; k < 3; ++k)
                s += a.m[i][k] * b.m[k][j];
            r.m[i][j] = s;
        }
    return r;
}
template <class Real> ProjMatrixOf<Real> operator*(const ProjMatrixOf<Real>& a, const ProjMatrixOf<Real>& b)
{
    ProjMatrixOf<Real> r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            Real s = 0;
            for (int k = 0; k < 4; ++k)
                s += a.m[i][k] * b.m[k][j];
            r.m[i][j] = s;
        }
    return r;
}
template <class Real> ProjMatrixOf<Real> operator*(const ProjMatrixOf<Real>& a, const AffineMatrixOf<Real>& b)
{
    return a * ProjMatrixOf<Real>(b);
}
template <class Real> ProjMatrixOf<Real> operator*(const AffineMatrixOf<Real>& a, const ProjMatrixOf<Real>& b)
{
    return ProjMatrixOf<Real>(a) * b;
}

// ---- Transforms written as products.

inline Point operator*(const AffineMatrix& a, const Point& p) { return a.transform(p); }
inline Vector operator*(const AffineMatrix& a, const Vector& v) { return a.transform(v); }
inline Normal operator*(const AffineMatrix& a, const Normal& n) { return a.transform(n); }
inline PointFlt operator*(const AffineMatrixFlt& a, const PointFlt& p) { return a.transform(p); }
inline VectorFlt operator*(const AffineMatrixFlt& a, const VectorFlt& v) { return a.transform(v); }
inline Normal operator*(const AffineMatrixFlt& a, const Normal& n) { return a.transform(n); }
inline Point operator*(const ProjMatrix& a, const Point& p) { return a.transform(p); }
inline HPoint operator*(const ProjMatrix& a, const HPoint& p) { return a.transform(p); }
inline Vector operator*(const ProjMatrix& a, const Vector& v) { return a.transform(v); }
inline PointFlt operator*(const ProjMatrixFlt& a, const PointFlt& p) { return a.transform(p); }
inline VectorFlt operator*(const ProjMatrixFlt& a, const VectorFlt& v) { return a.transform(v); }

// ---- Comparison: exact, or every entry within tol (strictly).

namespace internal {
template <class Real, int R>
bool entriesWithin(const Real (&a)[R][4], const Real (&b)[R][4], double tol)
{
    for (int i = 0; i < R; ++i)
        for (int j = 0; j < 4; ++j)
            if (!(std::fabs(double(a[i][j]) - double(b[i][j])) < tol))
                return false;
    return true;
}
template <class Real, int R> bool entriesEqual(const Real (&a)[R][4], const Real (&b)[R][4])
{
    for (int i = 0; i < R; ++i)
        for (int j = 0; j < 4; ++j)
            if (a[i][j] != b[i][j])
                return false;
    return true;
}
} // namespace internal

template <class Real> bool operator==(const AffineMatrixOf<Real>& a, const AffineMatrixOf<Real>& b)
{
    return internal::entriesEqual(a.m, b.m);
}
template <class Real> bool operator!=(const AffineMatrixOf<Real>& a, const AffineMatrixOf<Real>& b) { return !(a == b); }
template <class Real> bool operator==(const ProjMatrixOf<Real>& a, const ProjMatrixOf<Real>& b)
{
    return internal::entriesEqual(a.m, b.m);
}
template <class Real> bool operator!=(const ProjMatrixOf<Real>& a, const ProjMatrixOf<Real>& b) { return !(a == b); }

inline bool equivalent(const AffineMatrix& a, const AffineMatrix& b, double tol = epsilonTol)
{
    return internal::entriesWithin(a.m, b.m, tol);
}
inline bool equivalent(const AffineMatrixFlt& a, const AffineMatrixFlt& b, double tol = epsilonTolFlt)
{
    return internal::entriesWithin(a.m, b.m, tol);
}
inline bool equivalent(const ProjMatrix& a, const ProjMatrix& b, double tol = epsilonTol)
{
    return internal::entriesWithin(a.m, b.m, tol);
}
inline bool equivalent(const ProjMatrixFlt& a, const ProjMatrixFlt& b, double tol = epsilonTolFlt)
{
    return internal::entriesWithin(a.m, b.m, tol);
}

static_assert(std::is_trivial<AffineMatrix>::value && sizeof(AffineMatrix) == 12 * sizeof(double), "3 × 4 doubles");
static_assert(std::is_trivial<ProjMatrixFlt>::value && sizeof(ProjMatrixFlt) == 16 * sizeof(float), "4 × 4 floats");

} // namespace qvLinear

#endif
