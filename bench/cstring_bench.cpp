// CString against std::string doing the same work: "<op>/qv" and "<op>/anchor".

#include "qvStringCString.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

using qvString::CString;

namespace {

std::string randomText(std::size_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::string text(n, ' ');
    for (auto& c : text)
        c = "abcdefgh ,."[rng() % 11];
    return text;
}

// Builds a 1 KB text from pieces: a string piece, a literal and single characters.
void appendQv(benchmark::State& state)
{
    CString piece("piece-of-text");
    for (auto _ : state) {
        CString s;
        for (int i = 0; i < 32; ++i) {
            s.append(piece);
            s.append("[lit]");
            s.append(',');
        }
        benchmark::DoNotOptimize(s.asChar());
    }
}

void appendAnchor(benchmark::State& state)
{
    std::string piece("piece-of-text");
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < 32; ++i) {
            s.append(piece);
            s.append("[lit]");
            s.push_back(',');
        }
        benchmark::DoNotOptimize(s.c_str());
    }
}

// A pattern found near the end of a 4 KB text, one that is absent, and a single character.
void findQv(benchmark::State& state)
{
    std::string text = randomText(4096, 1);
    text.replace(4000, 8, "needle!!");
    CString s(text.c_str()), hit("needle!!"), miss("needle??");
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.find(hit, 0));
        benchmark::DoNotOptimize(s.find(miss, 100));
        benchmark::DoNotOptimize(s.find('!', 0));
    }
}

void findAnchor(benchmark::State& state)
{
    std::string s = randomText(4096, 1);
    s.replace(4000, 8, "needle!!");
    std::string hit("needle!!"), miss("needle??");
    for (auto _ : state) {
        benchmark::DoNotOptimize(s.find(hit, 0));
        benchmark::DoNotOptimize(s.find(miss, 100));
        benchmark::DoNotOptimize(s.find('!', 0));
    }
}

// Pairs of short and medium texts: equal, differing early, differing late, prefixes.
template <class Str>
std::vector<Str> comparePairs()
{
    std::string base = randomText(64, 2);
    std::string late = base;
    late[60] = 'z';
    std::string early = base;
    early[3] = 'z';
    std::vector<std::string> texts = {base, base, base, late, early, base, base.substr(0, 40),
                                      base, "name", "name", "name.x", "name"};
    std::vector<Str> out;
    for (auto& t : texts)
        out.emplace_back(t.c_str());
    return out;
}

void compareQv(benchmark::State& state)
{
    std::vector<CString> pairs = comparePairs<CString>();
    for (auto _ : state) {
        int sum = 0;
        for (std::size_t i = 0; i < pairs.size(); i += 2)
            sum += pairs[i].compare(pairs[i + 1]);
        benchmark::DoNotOptimize(sum);
    }
}

void compareAnchor(benchmark::State& state)
{
    std::vector<std::string> pairs = comparePairs<std::string>();
    for (auto _ : state) {
        int sum = 0;
        for (std::size_t i = 0; i < pairs.size(); i += 2) {
            int r = pairs[i].compare(pairs[i + 1]);
            sum += (r > 0) - (r < 0);
        }
        benchmark::DoNotOptimize(sum);
    }
}

// Sub-strings of 8 to 64 characters out of a 200-character text.
void substrQv(benchmark::State& state)
{
    CString s(randomText(200, 3).c_str());
    for (auto _ : state) {
        for (unsigned n = 8; n <= 64; n *= 2) {
            CString part = s.substr(n, n);
            benchmark::DoNotOptimize(part.asChar());
        }
    }
}

void substrAnchor(benchmark::State& state)
{
    std::string s = randomText(200, 3);
    for (auto _ : state) {
        for (unsigned n = 8; n <= 64; n *= 2) {
            std::string part = s.substr(n, n);
            benchmark::DoNotOptimize(part.c_str());
        }
    }
}

// The anchor formats with snprintf into a stack buffer and assigns the result to a
// std::string, the usual way of formatting into a standard string.
void formatQv(benchmark::State& state)
{
    CString s;
    int i = 0;
    for (auto _ : state) {
        s.format("%s #%d at %.3f (%x)", "object", i, i * 0.5, i);
        benchmark::DoNotOptimize(s.asChar());
        ++i;
    }
}

void formatAnchor(benchmark::State& state)
{
    std::string s;
    int i = 0;
    for (auto _ : state) {
        char buffer[256];
        int n = std::snprintf(buffer, sizeof buffer, "%s #%d at %.3f (%x)", "object", i, i * 0.5, i);
        s.assign(buffer, static_cast<std::size_t>(n));
        benchmark::DoNotOptimize(s.c_str());
        ++i;
    }
}

} // namespace

BENCHMARK(appendQv)->Name("append/qv");
BENCHMARK(appendAnchor)->Name("append/anchor");
BENCHMARK(findQv)->Name("find/qv");
BENCHMARK(findAnchor)->Name("find/anchor");
BENCHMARK(compareQv)->Name("compare/qv");
BENCHMARK(compareAnchor)->Name("compare/anchor");
BENCHMARK(substrQv)->Name("substr/qv");
BENCHMARK(substrAnchor)->Name("substr/anchor");
BENCHMARK(formatQv)->Name("format/qv");
BENCHMARK(formatAnchor)->Name("format/anchor");

BENCHMARK_MAIN();
