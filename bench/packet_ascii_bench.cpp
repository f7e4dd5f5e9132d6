// Writing and reading a scene of about 50 MB as an ASCII packet file, against a plain
// fprintf/strtod loop over the same numbers in the same formats.
#include "benchSupport.h"
#include "ioBufferedStream.h"
#include "qvTestScene.h"

#include <benchmark/benchmark.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using qvBench::fileBytes;
using qvBench::tempPath;
const qvTest::Scene& scene() { return qvBench::benchScene(); }

void report(benchmark::State& state, long long bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
    const qvTest::Scene& s = scene();
    double objects = static_cast<double>(s.meshes.size() + s.materials.size() + s.nodes.size());
    state.counters["objects"] = benchmark::Counter(objects, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["fileMB"] = static_cast<double>(bytes) / 1e6;
}

// ---- the library

void writeQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene.qv");
    for (auto _ : state) {
        if (qvTest::writeSceneFile(scene(), path, ioWriteAscii) != ioOk)
            state.SkipWithError("write failed");
    }
    report(state, fileBytes(path));
}

void readQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene.qv");
    qvTest::writeSceneFile(scene(), path, ioWriteAscii);
    for (auto _ : state) {
        qvTest::Scene copy;
        if (qvTest::readSceneFile(copy, path).status != ioOk)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(copy.nodes.data());
    }
    report(state, fileBytes(path));
}

// ---- the anchor: the same numbers with fprintf, back with strtod and its kin

template <typename T> void printAll(FILE* f, const std::vector<T>& values, const char* format)
{
    for (const T& v : values)
        std::fprintf(f, format, v);
}

void printFloats(FILE* f, const float* values, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        std::fprintf(f, "%.7g ", static_cast<double>(values[i]));
}

void writeAnchorFile(const std::string& path)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    for (const auto& mesh : scene().meshes) {
        for (char c : mesh->flags)
            std::fprintf(f, "%d ", static_cast<int>(c));
        for (char c : mesh->chars)
            std::fprintf(f, "%d ", static_cast<int>(static_cast<signed char>(c)));
        for (unsigned char c : mesh->bytes)
            std::fprintf(f, "%d ", static_cast<int>(c));
        for (short v : mesh->shorts)
            std::fprintf(f, "%d ", static_cast<int>(v));
        for (unsigned short v : mesh->ushorts)
            std::fprintf(f, "%u ", static_cast<unsigned>(v));
        printAll(f, mesh->indices, "%d ");
        printAll(f, mesh->uints, "%u ");
        printAll(f, mesh->ids, "%" PRId64 " ");
        printAll(f, mesh->uids, "%" PRIu64 " ");
        printFloats(f, mesh->positions.data(), mesh->positions.size());
        printAll(f, mesh->weights, "%.16g ");
        std::fputc('\n', f);
    }
    for (const auto& material : scene().materials) {
        for (double c : material->color)
            std::fprintf(f, "%.16g ", c);
        printFloats(f, &material->shininess, 1);
        for (const auto& layer : material->layers)
            printFloats(f, layer.values.data(), layer.values.size());
        std::fputc('\n', f);
    }
    for (const auto& node : scene().nodes) {
        std::fprintf(f, "%d %d %d ", node->index, static_cast<int>(node->visible),
                     static_cast<int>(node->kind));
        for (double t : node->transform)
            std::fprintf(f, "%.16g ", t);
        printFloats(f, node->bounds, 6);
        std::fputc('\n', f);
    }
    std::fclose(f);
}

void writeAnchor(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_anchor.txt");
    for (auto _ : state)
        writeAnchorFile(path);
    report(state, fileBytes(path));
}

void readAnchor(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_anchor.txt");
    writeAnchorFile(path);
    long long size = fileBytes(path);
    for (auto _ : state) {
        FILE* f = std::fopen(path.c_str(), "rb");
        std::string text(static_cast<size_t>(size), '\0');
        size_t got = std::fread(&text[0], 1, text.size(), f);
        std::fclose(f);
        text.resize(got);
        const char* p = text.c_str();
        char* end = nullptr;
        double sum = 0;
        // Integers with strtoll/strtoull, floating point with strtod, in the file's order.
        for (const auto& mesh : scene().meshes) {
            size_t integers = mesh->flags.size() + mesh->chars.size() + mesh->bytes.size()
                              + mesh->shorts.size() + mesh->ushorts.size() + mesh->indices.size()
                              + mesh->uints.size() + mesh->ids.size();
            for (size_t i = 0; i < integers; ++i, p = end)
                sum += static_cast<double>(std::strtoll(p, &end, 10));
            for (size_t i = 0; i < mesh->uids.size(); ++i, p = end)
                sum += static_cast<double>(std::strtoull(p, &end, 10));
            for (size_t i = 0; i < mesh->positions.size() + mesh->weights.size(); ++i, p = end)
                sum += std::strtod(p, &end);
        }
        for (const auto& material : scene().materials) {
            size_t reals = 4;
            for (const auto& layer : material->layers)
                reals += layer.values.size();
            for (size_t i = 0; i < reals; ++i, p = end)
                sum += std::strtod(p, &end);
        }
        for (size_t n = 0; n < scene().nodes.size(); ++n) {
            for (int i = 0; i < 3; ++i, p = end)
                sum += static_cast<double>(std::strtol(p, &end, 10));
            for (int i = 0; i < 22; ++i, p = end)
                sum += std::strtod(p, &end);
        }
        benchmark::DoNotOptimize(sum);
    }
    report(state, size);
}

} // namespace

BENCHMARK(writeQv)->Name("write/qv")->Unit(benchmark::kMillisecond);
BENCHMARK(writeAnchor)->Name("write/anchor")->Unit(benchmark::kMillisecond);
BENCHMARK(readQv)->Name("read/qv")->Unit(benchmark::kMillisecond);
BENCHMARK(readAnchor)->Name("read/anchor")->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
