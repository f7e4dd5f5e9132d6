// Transforming points by an affine matrix and normalising vectors, 10 million at a time, against
// the same work written as plain loops over double[3] arrays, and (when Eigen is present) against
// Eigen's affine transform and normalisation.

#include "qvLinearMatrix.h"
#include "qvLinearVector.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#ifdef QVBASE_BENCH_EIGEN
#include <Eigen/Geometry>
#endif

namespace {

constexpr size_t count = 10000000;

std::vector<double> randomCoordinates()
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> coordinate(-100.0, 100.0);
    std::vector<double> values(count * 3);
    for (double& v : values)
        v = coordinate(random);
    return values;
}

const std::vector<double>& coordinates()
{
    static const std::vector<double> values = randomCoordinates();
    return values;
}

qvLinear::AffineMatrix sampleMatrix()
{
    qvLinear::AffineMatrix m = qvLinear::AffineMatrix::identity();
    m.rotate(0.7, qvLinear::Normal(1.0, 2.0, 3.0)).scale(1.5, 0.5, 2.0).translate(qvLinear::Vector(10.0, -4.0, 2.5));
    return m;
}

template <class T> std::vector<T> load()
{
    const std::vector<double>& c = coordinates();
    std::vector<T> values(count);
    for (size_t i = 0; i < count; ++i)
        values[i] = T(c[3 * i], c[3 * i + 1], c[3 * i + 2]);
    return values;
}

void transformQv(benchmark::State& state)
{
    std::vector<qvLinear::Point> in = load<qvLinear::Point>(), out(count);
    const qvLinear::AffineMatrix m = sampleMatrix();
    for (auto _ : state) {
        for (size_t i = 0; i < count; ++i)
            out[i] = m * in[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

void transformAnchor(benchmark::State& state)
{
    const std::vector<double>& c = coordinates();
    std::vector<double> storage(c), result(count * 3);
    const double(*in)[3] = reinterpret_cast<const double(*)[3]>(storage.data());
    double(*out)[3] = reinterpret_cast<double(*)[3]>(result.data());
    const qvLinear::AffineMatrix source = sampleMatrix();
    double m[3][4];
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k)
            m[r][k] = source.m[r][k];
    for (auto _ : state) {
        for (size_t i = 0; i < count; ++i) {
            const double x = in[i][0], y = in[i][1], z = in[i][2];
            out[i][0] = m[0][0] * x + m[0][1] * y + m[0][2] * z + m[0][3];
            out[i][1] = m[1][0] * x + m[1][1] * y + m[1][2] * z + m[1][3];
            out[i][2] = m[2][0] * x + m[2][1] * y + m[2][2] * z + m[2][3];
        }
        benchmark::DoNotOptimize(result.data());
        benchmark::ClobberMemory();
    }
}

void normalizeQv(benchmark::State& state)
{
    const std::vector<qvLinear::Vector> source = load<qvLinear::Vector>();
    std::vector<qvLinear::Vector> v(count);
    for (auto _ : state) {
        state.PauseTiming();
        v = source;
        state.ResumeTiming();
        for (size_t i = 0; i < count; ++i)
            v[i].normalize();
        benchmark::DoNotOptimize(v.data());
        benchmark::ClobberMemory();
    }
}

void normalizeAnchor(benchmark::State& state)
{
    const std::vector<double>& source = coordinates();
    std::vector<double> storage(count * 3);
    double(*v)[3] = reinterpret_cast<double(*)[3]>(storage.data());
    for (auto _ : state) {
        state.PauseTiming();
        storage = source;
        state.ResumeTiming();
        for (size_t i = 0; i < count; ++i) {
            const double x = v[i][0], y = v[i][1], z = v[i][2];
            const double s = x * x + z * z + y * y;
            if (s > 1e-24) {
                const double inverse = 1.0 / std::sqrt(s);
                v[i][0] = x * inverse;
                v[i][1] = y * inverse;
                v[i][2] = z * inverse;
            } else {
                v[i][0] = v[i][1] = v[i][2] = 0.0;
            }
        }
        benchmark::DoNotOptimize(storage.data());
        benchmark::ClobberMemory();
    }
}

#ifdef QVBASE_BENCH_EIGEN
template <class T> std::vector<T, Eigen::aligned_allocator<T>> loadEigen()
{
    const std::vector<double>& c = coordinates();
    std::vector<T, Eigen::aligned_allocator<T>> values(count);
    for (size_t i = 0; i < count; ++i)
        values[i] = T(c[3 * i], c[3 * i + 1], c[3 * i + 2]);
    return values;
}

void transformEigen(benchmark::State& state)
{
    auto in = loadEigen<Eigen::Vector3d>();
    std::vector<Eigen::Vector3d, Eigen::aligned_allocator<Eigen::Vector3d>> out(count);
    const qvLinear::AffineMatrix source = sampleMatrix();
    Eigen::Affine3d m = Eigen::Affine3d::Identity();
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k)
            m.matrix()(r, k) = source.m[r][k];
    for (auto _ : state) {
        for (size_t i = 0; i < count; ++i)
            out[i] = m * in[i];
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

void normalizeEigen(benchmark::State& state)
{
    const auto source = loadEigen<Eigen::Vector3d>();
    auto v = source;
    for (auto _ : state) {
        state.PauseTiming();
        v = source;
        state.ResumeTiming();
        for (size_t i = 0; i < count; ++i)
            v[i].normalize();
        benchmark::DoNotOptimize(v.data());
        benchmark::ClobberMemory();
    }
}
#endif

void registerAll()
{
    benchmark::RegisterBenchmark("transform/qv", transformQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("transform/anchor", transformAnchor)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("normalize/qv", normalizeQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("normalize/anchor", normalizeAnchor)->Unit(benchmark::kMillisecond);
#ifdef QVBASE_BENCH_EIGEN
    benchmark::RegisterBenchmark("transform-vs-eigen/qv", transformQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("transform-vs-eigen/anchor", transformEigen)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("normalize-vs-eigen/qv", normalizeQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("normalize-vs-eigen/anchor", normalizeEigen)->Unit(benchmark::kMillisecond);
#endif
}

} // namespace

int main(int argc, char** argv)
{
    registerAll();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
