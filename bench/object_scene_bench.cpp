// A scene of many small objects: 200,000 objects of about 130 bytes (an id, a 12-character
// name, one reference to an earlier or a later object, 3 doubles, 9 floats, and 4 to 12 ints
// after their count), written with the typed operations and pointer references, against
// cereal's binary archive storing the reference as an index. Both go to a file. Here the
// per-object path (the reference map, the packet begin and end, the per-value calls) sets the
// pace rather than the bytes.
#include "benchSupport.h"
#include "ioBufferedStream.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

#ifdef QVBASE_BENCH_CEREAL
#include <cereal/archives/binary.hpp>
#include <cereal/types/vector.hpp>
#endif

namespace {

struct Small {
    int id = 0;
    char name[13] = {};
    Small* ref = nullptr;
    double v[3] = {};
    float f[9] = {};
    std::vector<int> ints;
};

constexpr int objectCount = 200000;
const char* const typeName = "small_object";

const std::vector<Small>& objects()
{
    static const std::vector<Small> made = [] {
        std::vector<Small> all(objectCount);
        std::mt19937 random(7);
        for (int i = 0; i < objectCount; ++i) {
            Small& s = all[static_cast<size_t>(i)];
            s.id = i;
            for (int c = 0; c < 12; ++c)
                s.name[c] = static_cast<char>('a' + random() % 26);
            s.ref = &all[random() % objectCount]; // earlier or later, at random
            for (double& d : s.v)
                d = random() / 7.0;
            for (float& x : s.f)
                x = static_cast<float>(random() % 100000) / 8.0f;
            s.ints.resize(4 + random() % 9);
            for (int& n : s.ints)
                n = static_cast<int>(random());
        }
        return all;
    }();
    return made;
}

// ---- the library

class SmallType : public ioPacketType {
public:
    explicit SmallType(std::vector<Small>* into) : ioPacketType(typeName), into(into) {}
    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        into->emplace_back();
        Small& s = into->back();
        ctx.definePacketReference(&s);
        s.id = ctx.readInt();
        const char* name = ctx.readCString();
        std::strncpy(s.name, name ? name : "", 12);
        ctx.readReferenceUsage(&s.ref, 0);
        ctx.readDoubleArray(s.v, 3);
        ctx.readFloatArray(s.f, 9);
        int n = ctx.readInt();
        s.ints.resize(n >= 0 && n <= 64 ? static_cast<size_t>(n) : 0);
        ctx.readIntArray(s.ints.data(), static_cast<int>(s.ints.size()));
    }

private:
    std::vector<Small>* into;
};

class SmallRegistry : public ioPacketRegistry {
public:
    SmallRegistry(bool reading, std::vector<Small>* into) : ioPacketRegistry(reading), into(into) {}

protected:
    void registerTypes() override { supportedType(new SmallType(into)); }

private:
    std::vector<Small>* into;
};

bool writeQv(const std::string& path, ioWriteMethod method, int writeBehind)
{
    ioBufferedStreamOutput stream;
    stream.setWriteBehind(writeBehind);
    stream.openFile(path.c_str());
    SmallRegistry registry(false, nullptr);
    std::unique_ptr<ioWriteContext> ctx(ioWriteContextAlloc(stream, method, nullptr));
    if (!ctx)
        return false;
    ctx->associateRegistry(&registry);
    ctx->startFile();
    ioPacketType* type = registry.lookup(typeName);
    for (const Small& s : objects()) {
        ctx->startPacket(type, &s);
        ctx->writeInt(s.id);
        ctx->writeCString(s.name);
        ctx->writeReference(s.ref, false);
        ctx->writeDoubleArray(s.v, 3);
        ctx->writeFloatArray(s.f, 9);
        ctx->writeInt(static_cast<int>(s.ints.size()));
        ctx->writeIntArray(s.ints.data(), static_cast<int>(s.ints.size()));
        ctx->endPacket();
    }
    ctx->endFile();
    ioStatus status = ctx->getStatus();
    ctx.reset();
    stream.close();
    return status == ioOk && stream.good();
}

bool readQv(const std::string& path, std::vector<Small>& into)
{
    into.clear();
    into.reserve(objectCount); // the objects must not move once their address is defined
    ioBufferedStreamInput stream;
    stream.openFile(path.c_str());
    SmallRegistry registry(true, &into);
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(stream, &registry));
    if (!ctx)
        return false;
    ioClientReadContext client(*ctx);
    ctx->readFile(client);
    return ctx->getStatus() == ioOk && into.size() == objects().size();
}

// The objects read back hold the same values and refer to the same positions.
bool same(const std::vector<Small>& back)
{
    const std::vector<Small>& all = objects();
    if (back.size() != all.size())
        return false;
    for (size_t i = 0; i < all.size(); ++i) {
        const Small &a = all[i], &b = back[i];
        if (a.id != b.id || std::memcmp(a.name, b.name, 12) || !b.ref || a.ref - all.data() != b.ref - back.data() ||
            std::memcmp(a.v, b.v, sizeof a.v) || std::memcmp(a.f, b.f, sizeof a.f) || a.ints != b.ints)
            return false;
    }
    return true;
}

void report(benchmark::State& state, const std::string& path)
{
    state.SetBytesProcessed(state.iterations() * qvBench::fileBytes(path));
    state.counters["objects"] = benchmark::Counter(static_cast<double>(state.iterations()) * objectCount,
                                                   benchmark::Counter::kIsRate);
}

void writeCase(benchmark::State& state, ioWriteMethod method, int writeBehind)
{
    std::string path = qvBench::tempPath("qvBase_bench_objects.qv");
    objects();
    for (auto _ : state)
        if (!writeQv(path, method, writeBehind))
            state.SkipWithError("write failed");
    report(state, path);
}

void readCase(benchmark::State& state, ioWriteMethod method)
{
    std::string path = qvBench::tempPath(method == ioWriteBinary ? "qvBase_bench_objects_r.qv"
                                                                 : "qvBase_bench_objects_rd.qv");
    std::vector<Small> back;
    if (!writeQv(path, method, 0) || !readQv(path, back) || !same(back)) {
        state.SkipWithError("the objects read back differ");
        return;
    }
    for (auto _ : state) {
        if (!readQv(path, back))
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(back.data());
    }
    report(state, path);
}

// ---- cereal, the reference stored as an index

#ifdef QVBASE_BENCH_CEREAL
void writeCereal(const std::string& path)
{
    const std::vector<Small>& all = objects();
    std::ofstream out(path, std::ios::binary);
    cereal::BinaryOutputArchive archive(out);
    archive(static_cast<uint32_t>(all.size()));
    for (const Small& s : all) {
        archive(s.id, cereal::binary_data(s.name, 12), static_cast<int32_t>(s.ref - all.data()),
                cereal::binary_data(s.v, sizeof s.v), cereal::binary_data(s.f, sizeof s.f), s.ints);
    }
}

bool readCereal(const std::string& path, std::vector<Small>& into)
{
    std::ifstream in(path, std::ios::binary);
    cereal::BinaryInputArchive archive(in);
    uint32_t count = 0;
    archive(count);
    into.clear();
    into.resize(count);
    std::vector<int32_t> refs(count);
    for (uint32_t i = 0; i < count; ++i) {
        Small& s = into[i];
        archive(s.id, cereal::binary_data(s.name, 12), refs[i], cereal::binary_data(s.v, sizeof s.v),
                cereal::binary_data(s.f, sizeof s.f), s.ints);
    }
    for (uint32_t i = 0; i < count; ++i)
        into[i].ref = refs[i] >= 0 && static_cast<uint32_t>(refs[i]) < count ? &into[static_cast<size_t>(refs[i])] : nullptr;
    return count == objects().size();
}

void writeAnchor(benchmark::State& state)
{
    std::string path = qvBench::tempPath("qvBase_bench_objects.cereal");
    objects();
    for (auto _ : state)
        writeCereal(path);
    report(state, path);
}

void readAnchor(benchmark::State& state)
{
    std::string path = qvBench::tempPath("qvBase_bench_objects_r.cereal");
    writeCereal(path);
    std::vector<Small> back;
    if (!readCereal(path, back) || !same(back)) {
        state.SkipWithError("cereal's objects read back differ");
        return;
    }
    for (auto _ : state) {
        readCereal(path, back);
        benchmark::DoNotOptimize(back.data());
    }
    report(state, path);
}
#endif

void registerAll()
{
    const int behind = ioBufferedStreamOutput::replacingWriteBehind;
    struct Method {
        const char* suffix;
        ioWriteMethod method;
    };
    for (Method m : {Method{"", ioWriteBinary}, Method{"_debug", ioWriteBinaryDebug}}) {
        const std::string write = std::string("objects_write") + m.suffix;
        const std::string read = std::string("objects_read") + m.suffix;
        const ioWriteMethod method = m.method;
        auto add = [](const std::string& name, auto body) {
            benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond);
        };
        add(write + "/qv", [=](benchmark::State& s) { writeCase(s, method, 0); });
        add(write + "_wb/qv", [=](benchmark::State& s) { writeCase(s, method, behind); });
        add(read + "/qv", [=](benchmark::State& s) { readCase(s, method); });
#ifdef QVBASE_BENCH_CEREAL
        add(write + "/anchor", writeAnchor);
        add(write + "_wb/anchor", writeAnchor);
        add(read + "/anchor", readAnchor);
#endif
    }
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
