// The stream filters on a 64 MB corpus of text and binaries. Compression and decompression are
// compared with the Unix "compress" utility, run as a separate process on the same file in the
// same run; the checksum and encryption filters with a plain stream that moves the same bytes.
// The corpus is QVBASE_BENCH_CORPUS, or else made by the corpus script (QVBASE_MAKE_CORPUS,
// default /work/shared/bench/make-corpus.sh). Compressed sizes go to standard error.
// Both sides are timed as CPU time (user plus system, file I/O included): ours from this process,
// the utility's from its finished child processes. On a busy machine wall time mostly measures
// the wait for a core, which would swamp the difference being measured.
#include "ioBufferedStream.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <ctime>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Files {
    std::string dir;
    std::string corpus;
    long long corpusSize = 0;

    Files()
    {
        char pattern[] = "/tmp/qvbase-filter-bench-XXXXXX";
        const char* made = mkdtemp(pattern);
        dir = made ? made : "/tmp";
        const char* given = std::getenv("QVBASE_BENCH_CORPUS");
        if (given) {
            corpus = given;
        } else {
            const char* script = std::getenv("QVBASE_MAKE_CORPUS");
            corpus = dir + "/corpus";
            std::string command = std::string(script ? script : "/work/shared/bench/make-corpus.sh") + " " +
                                  corpus + " 64";
            if (std::system(command.c_str()) != 0)
                std::fprintf(stderr, "filter_bench: could not make the corpus with: %s\n", command.c_str());
        }
        struct stat info;
        if (stat(corpus.c_str(), &info) == 0)
            corpusSize = info.st_size;
    }
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;
    ~Files()
    {
        std::string command = "rm -rf '" + dir + "'";
        if (std::system(command.c_str()) != 0)
            std::fprintf(stderr, "filter_bench: could not remove %s\n", dir.c_str());
    }
    std::string file(const char* name) const { return dir + "/" + name; }
};

Files& files()
{
    static Files instance;
    return instance;
}

long long sizeOf(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}

enum Filters { none = 0, compressed = 1, checksummed = 2, encrypted = 4 };

// Copies a file through an input stream and an output stream, with filters on either side.
bool copyThrough(const std::string& from, int inFilters, const std::string& to, int outFilters)
{
    ioBufferedStreamInput in;
    ioBufferedStreamOutput out;
    in.openFile(from.c_str());
    out.openFile(to.c_str());
    if (inFilters & compressed)
        in.compress(true);
    if (inFilters & checksummed)
        in.checksum(true);
    if (inFilters & encrypted)
        in.encrypt(true);
    if (outFilters & compressed)
        out.compress(true);
    if (outFilters & checksummed)
        out.checksum(true);
    if (outFilters & encrypted)
        out.encrypt(true);
    static char area[1 << 16];
    while (in.good()) {
        int n = in.readData(area, sizeof area);
        out.writeData(area, n);
    }
    bool ok = in.getStatus() == ioStreamEOF || in.getStatus() == ioStreamEndOfSection;
    out.close();
    in.close();
    return ok && out.good();
}

double processSeconds()
{
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double childSeconds()
{
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void run(benchmark::State& state, const std::string& command)
{
    for (auto _ : state) {
        const double start = childSeconds();
        if (std::system(command.c_str()) != 0)
            state.SkipWithError(("failed: " + command).c_str());
        state.SetIterationTime(childSeconds() - start);
    }
    state.SetBytesProcessed(state.iterations() * files().corpusSize);
}

// Makes path from the corpus (outside the timing) when an earlier case has not made it.
bool prepare(const std::string& path, const std::string& command)
{
    return sizeOf(path) > 0 || std::system(command.c_str()) == 0;
}

bool prepare(const std::string& path, int filters)
{
    return sizeOf(path) > 0 || copyThrough(files().corpus, none, path, filters);
}

void copy(benchmark::State& state, const std::string& from, int inFilters, const std::string& to, int outFilters)
{
    if (files().corpusSize <= 0 || (inFilters && !prepare(from, inFilters))) {
        state.SkipWithError("no corpus");
        return;
    }
    for (auto _ : state) {
        const double start = processSeconds();
        if (!copyThrough(from, inFilters, to, outFilters))
            state.SkipWithError("stream failed");
        state.SetIterationTime(processSeconds() - start);
    }
    state.SetBytesProcessed(state.iterations() * files().corpusSize);
}

std::string anchorZ()
{
    return files().file("anchor.Z");
}

void registerAll()
{
    const Files& f = files();
    const std::string corpus = f.corpus;
    const std::string plain = f.file("plain.out");
    const std::string qvZ = f.file("qv.lzw");
    auto add = [](const char* name, auto&& body) {
        benchmark::RegisterBenchmark(name, body)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);
    };
    // The compressed sizes travel as counters, so the report can set them side by side.
    add("compress/qv", [=](benchmark::State& s) {
        copy(s, corpus, none, qvZ, compressed);
        s.counters["compressed_MB"] = static_cast<double>(sizeOf(qvZ)) / 1e6;
    });
    add("compress/anchor", [=](benchmark::State& s) {
        run(s, "compress -c < '" + corpus + "' > '" + anchorZ() + "'");
        s.counters["compressed_MB"] = static_cast<double>(sizeOf(anchorZ())) / 1e6;
    });
    add("decompress/qv", [=](benchmark::State& s) { copy(s, qvZ, compressed, plain, none); });
    add("decompress/anchor", [=](benchmark::State& s) {
        if (!prepare(anchorZ(), "compress -c < '" + corpus + "' > '" + anchorZ() + "'"))
            s.SkipWithError("compress failed");
        run(s, "compress -d -c < '" + anchorZ() + "' > '" + plain + "'");
    });
    const std::string summed = f.file("summed");
    add("checksum-write/qv", [=](benchmark::State& s) { copy(s, corpus, none, summed, checksummed); });
    add("checksum-write/anchor", [=](benchmark::State& s) { copy(s, corpus, none, plain, none); });
    add("checksum-read/qv", [=](benchmark::State& s) { copy(s, summed, checksummed, plain, none); });
    add("checksum-read/anchor", [=](benchmark::State& s) { copy(s, corpus, none, plain, none); });
    const std::string secret = f.file("encrypted");
    add("encrypt-write/qv", [=](benchmark::State& s) { copy(s, corpus, none, secret, encrypted); });
    add("encrypt-write/anchor", [=](benchmark::State& s) { copy(s, corpus, none, plain, none); });
    add("encrypt-read/qv", [=](benchmark::State& s) { copy(s, secret, encrypted, plain, none); });
    add("encrypt-read/anchor", [=](benchmark::State& s) { copy(s, corpus, none, plain, none); });
}

void reportSizes()
{
    const Files& f = files();
    prepare(f.file("qv.lzw"), compressed);
    prepare(anchorZ(), "compress -c < '" + f.corpus + "' > '" + anchorZ() + "'");
    long long qv = sizeOf(f.file("qv.lzw"));
    long long anchor = sizeOf(anchorZ());
    // The decompressed copy must equal the corpus.
    std::string back = f.file("check.out");
    bool same = copyThrough(f.file("qv.lzw"), compressed, back, none) &&
                std::system(("cmp -s '" + f.corpus + "' '" + back + "'").c_str()) == 0;
    std::fprintf(stderr, "filter_bench: corpus %lld bytes; compressed qv %lld, compress %lld (qv/compress %.4f); "
                         "round trip %s\n",
                 f.corpusSize, qv, anchor, anchor > 0 ? static_cast<double>(qv) / anchor : 0.0,
                 same ? "equal" : "DIFFERENT");
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    reportSizes();
    benchmark::Shutdown();
    return 0;
}
