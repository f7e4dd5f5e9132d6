// Emission to 1, 10 and 100 connections against a loop over std::function objects.
#include "qvRTBSignal.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace {

long long total = 0;
void add(int v)
{
    total += v;
}

void emitQv(benchmark::State& state, int connections)
{
    qvRTB::Signal1Arg<int> signal;
    for (int i = 0; i < connections; ++i)
        signal.addCallback(&add);
    for (auto _ : state)
        signal.emit(1);
    benchmark::DoNotOptimize(total);
}

void emitAnchor(benchmark::State& state, int connections)
{
    std::vector<std::function<void(int)>> slots;
    for (int i = 0; i < connections; ++i)
        slots.emplace_back(&add);
    for (auto _ : state) {
        for (auto& slot : slots)
            slot(1);
        benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(total);
}

} // namespace

int main(int argc, char** argv)
{
    for (int n : {1, 10, 100}) {
        const std::string name = "emit_" + std::to_string(n);
        benchmark::RegisterBenchmark((name + "/qv").c_str(), emitQv, n);
        benchmark::RegisterBenchmark((name + "/anchor").c_str(), emitAnchor, n);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
