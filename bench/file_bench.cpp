// LocalFile reading and writing a 256 MB file in 4096-byte and 1 MB calls, against the C
// runtime's fread/fwrite with the same call sizes: "<case>/qv" and "<case>/anchor".

#include "qvOSLocalFile.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

const std::size_t fileSize = std::size_t(256) << 20;

// A memory-backed folder where there is one: the disk's write-back would otherwise swamp the
// difference being measured. QVBASE_BENCH_DIR chooses another.
std::string benchPath(const char* name)
{
    std::filesystem::path dir = std::filesystem::temp_directory_path();
    std::error_code ec;
    if (const char* chosen = std::getenv("QVBASE_BENCH_DIR"))
        dir = chosen;
    else if (std::filesystem::is_directory("/dev/shm", ec))
        dir = "/dev/shm";
    return (dir / name).string();
}

// The file that the read cases read, written once.
const std::string& readSource()
{
    static const std::string path = [] {
        const std::string p = benchPath("qvBase-file-bench-read.bin");
        std::vector<char> block(1 << 20);
        for (std::size_t i = 0; i < block.size(); ++i)
            block[i] = static_cast<char>(i * 31);
        std::FILE* out = std::fopen(p.c_str(), "wb");
        for (std::size_t done = 0; out && done < fileSize; done += block.size())
            std::fwrite(block.data(), 1, block.size(), out);
        if (out)
            std::fclose(out);
        return p;
    }();
    return path;
}

void writeQv(benchmark::State& state, std::size_t chunk)
{
    std::vector<char> block(chunk, 'w');
    const std::string path = benchPath("qvBase-file-bench-write.bin");
    for (auto _ : state) {
        qvOS::LocalFile file(qvString::CString(path.c_str()));
        if (file.open(qvOS::File::ModeWrite | qvOS::File::ModeBinary)) {
            state.SkipWithError("open failed");
            break;
        }
        unsigned int done = 0;
        for (std::size_t total = 0; total < fileSize; total += chunk)
            file.write(block.data(), static_cast<unsigned int>(chunk), done);
        file.close();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * fileSize));
    std::remove(path.c_str());
}

void writeAnchor(benchmark::State& state, std::size_t chunk)
{
    std::vector<char> block(chunk, 'w');
    const std::string path = benchPath("qvBase-file-bench-write.bin");
    for (auto _ : state) {
        std::FILE* out = std::fopen(path.c_str(), "wb");
        if (!out) {
            state.SkipWithError("open failed");
            break;
        }
        for (std::size_t total = 0; total < fileSize; total += chunk)
            std::fwrite(block.data(), 1, chunk, out);
        std::fclose(out);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * fileSize));
    std::remove(path.c_str());
}

void readQv(benchmark::State& state, std::size_t chunk)
{
    std::vector<char> block(chunk);
    const std::string& path = readSource();
    for (auto _ : state) {
        qvOS::LocalFile file(qvString::CString(path.c_str()));
        if (file.open(qvOS::File::ModeRead)) {
            state.SkipWithError("open failed");
            break;
        }
        std::size_t total = 0;
        unsigned int done = 0;
        while (!file.read(block.data(), static_cast<unsigned int>(chunk), done))
            total += done;
        total += done;
        benchmark::DoNotOptimize(total);
        file.close();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * fileSize));
}

void readAnchor(benchmark::State& state, std::size_t chunk)
{
    std::vector<char> block(chunk);
    const std::string& path = readSource();
    for (auto _ : state) {
        std::FILE* in = std::fopen(path.c_str(), "rb");
        if (!in) {
            state.SkipWithError("open failed");
            break;
        }
        std::size_t total = 0;
        for (;;) {
            const std::size_t done = std::fread(block.data(), 1, chunk, in);
            total += done;
            if (std::feof(in) || done != chunk)
                break;
        }
        benchmark::DoNotOptimize(total);
        std::fclose(in);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * fileSize));
}

using Case = void (*)(benchmark::State&, std::size_t);

void registerCase(const char* name, Case qv, Case anchor, std::size_t chunk)
{
    // The report pairs the cases by name, so the chunk size travels as a bound argument.
    benchmark::RegisterBenchmark((std::string(name) + "/anchor").c_str(), anchor, chunk)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string(name) + "/qv").c_str(), qv, chunk)
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char** argv)
{
    registerCase("write_4k", writeQv, writeAnchor, 4096);
    registerCase("write_1m", writeQv, writeAnchor, 1 << 20);
    registerCase("read_4k", readQv, readAnchor, 4096);
    registerCase("read_1m", readQv, readAnchor, 1 << 20);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::remove(readSource().c_str());
    return 0;
}
