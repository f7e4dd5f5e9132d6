// A scene of many small objects: 200,000 objects of about 130 bytes (an id, a 12-character
// name, one reference to an earlier or a later object, 3 doubles, 9 floats, and 4 to 12 ints
// after their count), written with the typed operations and pointer references, against
// cereal's binary archive storing the reference as an index. Both go to a file. Here the
// per-object path (the reference map, the packet begin and end, the per-value calls) sets the
// pace rather than the bytes.
//
// The "_indexed" cases write the same scene as cereal's anchor does, the reference as the
// index of the object and packets without a reference of their own, and mend the pointers
// after reading: the packet engine without the reference map, for comparison (no goal).
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
    // With indices, the index each object refers to goes to indices, for the caller to mend.
    SmallType(std::vector<Small>* into, std::vector<int>* indices)
        : ioPacketType(typeName), into(into), indices(indices)
    {
    }
    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        into->emplace_back();
        Small& s = into->back();
        if (!indices)
            ctx.definePacketReference(&s);
        s.id = ctx.readInt();
        const char* name = ctx.readCString();
        std::strncpy(s.name, name ? name : "", 12);
        if (indices)
            indices->push_back(ctx.readInt());
        else
            ctx.readReferenceUsage(&s.ref, 0);
        ctx.readDoubleArray(s.v, 3);
        ctx.readFloatArray(s.f, 9);
        int n = ctx.readInt();
        s.ints.resize(n >= 0 && n <= 64 ? static_cast<size_t>(n) : 0);
        ctx.readIntArray(s.ints.data(), static_cast<int>(s.ints.size()));
    }

private:
    std::vector<Small>* into;
    std::vector<int>* indices;
};

class SmallRegistry : public ioPacketRegistry {
public:
    SmallRegistry(bool reading, std::vector<Small>* into, std::vector<int>* indices = nullptr)
        : ioPacketRegistry(reading), into(into), indices(indices)
    {
    }

protected:
    void registerTypes() override { supportedType(new SmallType(into, indices)); }

private:
    std::vector<Small>* into;
    std::vector<int>* indices;
};

bool writeQv(const std::string& path, ioWriteMethod method, int writeBehind, bool indexed = false)
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
    const Small* first = objects().data();
    for (const Small& s : objects()) {
        ctx->startPacket(type, indexed ? nullptr : &s);
        ctx->writeInt(s.id);
        ctx->writeCString(s.name);
        if (indexed)
            ctx->writeInt(static_cast<int>(s.ref - first));
        else
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

bool readQv(const std::string& path, std::vector<Small>& into, bool indexed = false)
{
    into.clear();
    into.reserve(objectCount); // the objects must not move once their address is defined
    std::vector<int> indices;
    ioBufferedStreamInput stream;
    stream.openFile(path.c_str());
    SmallRegistry registry(true, &into, indexed ? &indices : nullptr);
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(stream, &registry));
    if (!ctx)
        return false;
    ioClientReadContext client(*ctx);
    ctx->readFile(client);
    if (indexed && indices.size() == into.size())
        for (size_t i = 0; i < into.size(); ++i)
            into[i].ref = indices[i] >= 0 && static_cast<size_t>(indices[i]) < into.size() ? &into[static_cast<size_t>(indices[i])] : nullptr;
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

void writeCase(benchmark::State& state, ioWriteMethod method, int writeBehind, bool indexed)
{
    std::string path = qvBench::tempPath("qvBase_bench_objects.qv");
    objects();
    for (auto _ : state)
        if (!writeQv(path, method, writeBehind, indexed))
            state.SkipWithError("write failed");
    report(state, path);
}

void readCase(benchmark::State& state, ioWriteMethod method, bool indexed)
{
    std::string path = qvBench::tempPath(method == ioWriteBinary ? "qvBase_bench_objects_r.qv"
                                                                 : "qvBase_bench_objects_rd.qv");
    std::vector<Small> back;
    if (!writeQv(path, method, 0, indexed) || !readQv(path, back, indexed) || !same(back)) {
        state.SkipWithError("the objects read back differ");
        return;
    }
    for (auto _ : state) {
        if (!readQv(path, back, indexed))
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
    struct Variant {
        const char* suffix;
        ioWriteMethod method;
        bool indexed;
    };
    for (Variant v : {Variant{"", ioWriteBinary, false}, Variant{"_debug", ioWriteBinaryDebug, false},
                      Variant{"_indexed", ioWriteBinary, true}}) {
        const std::string write = std::string("objects_write") + v.suffix;
        const std::string read = std::string("objects_read") + v.suffix;
        const ioWriteMethod method = v.method;
        const bool indexed = v.indexed;
        auto add = [](const std::string& name, auto body) {
            benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond);
        };
        add(write + "/qv", [=](benchmark::State& s) { writeCase(s, method, 0, indexed); });
        add(write + "_wb/qv", [=](benchmark::State& s) { writeCase(s, method, behind, indexed); });
        add(read + "/qv", [=](benchmark::State& s) { readCase(s, method, indexed); });
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
