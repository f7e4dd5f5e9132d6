// Writing and reading packet files in the binary method: a scene of about 20000 objects against
// cereal's binary archive on the same objects (when cereal is installed), and 100 MB of double
// arrays against a raw write()/read() loop through a 4096-byte buffer; a plain memcpy of the same
// 100 MB is reported beside them.
#include "benchSupport.h"
#include "ioBufferedStream.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"
#include "qvTestScene.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#ifdef QVBASE_BENCH_CEREAL
#include <cereal/archives/binary.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>
#endif

namespace {

using qvBench::fileBytes;
using qvBench::tempPath;
const qvTest::Scene& scene() { return qvBench::benchScene(); }

void report(benchmark::State& state, long long bytes, double objects)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
    state.counters["objects"] = benchmark::Counter(objects, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["fileMB"] = static_cast<double>(bytes) / 1e6;
}

double sceneObjects()
{
    const qvTest::Scene& s = scene();
    return static_cast<double>(s.meshes.size() + s.materials.size() + s.nodes.size());
}

// ---- the scene

void sceneWriteQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene.qvb");
    for (auto _ : state)
        if (qvTest::writeSceneFile(scene(), path, ioWriteBinary) != ioOk)
            state.SkipWithError("write failed");
    report(state, fileBytes(path), sceneObjects());
}

// The same save with the stream's write-behind on: one system write per 256 KiB.
void sceneWriteBehindQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene_wb.qvb");
    for (auto _ : state) {
        ioBufferedStreamOutput stream;
        stream.setWriteBehind(ioBufferedStreamOutput::replacingWriteBehind);
        stream.openFile(path.c_str());
        ioStatus status = qvTest::writeScene(scene(), stream, ioWriteBinary);
        stream.close();
        if (status != ioOk || !stream.good())
            state.SkipWithError("write failed");
    }
    report(state, fileBytes(path), sceneObjects());
}

void sceneReadQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene.qvb");
    qvTest::writeSceneFile(scene(), path, ioWriteBinary);
    {
        qvTest::Scene copy;
        qvTest::readSceneFile(copy, path);
        if (!qvTest::compareScenes(scene(), copy).empty())
            state.SkipWithError("the scene read back differs");
    }
    for (auto _ : state) {
        qvTest::Scene copy;
        if (qvTest::readSceneFile(copy, path).status != ioOk)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(copy.nodes.data());
    }
    report(state, fileBytes(path), sceneObjects());
}

#ifdef QVBASE_BENCH_CEREAL
// The same objects for cereal, in the same order as the packet file (writeOrder), each after a
// kind byte as a packet after its type id. Cereal has no raw pointers: references travel as
// indices (-1 for none) and become pointers once every object is read, as the packet reader's
// waiting slots do.
template <typename T> int indexOf(const T* object)
{
    return object ? object->index : -1;
}

struct CerealScene {
    const qvTest::Scene* source = nullptr;
    qvTest::Scene* target = nullptr;

    template <class Archive> void save(Archive& ar) const
    {
        const qvTest::Scene& s = *source;
        ar(static_cast<uint32_t>(s.meshes.size()), static_cast<uint32_t>(s.materials.size()),
           static_cast<uint32_t>(s.nodes.size()));
        std::vector<qvTest::SceneItem> items = qvTest::writeOrder(s);
        for (size_t i = 0; i < items.size(); ++i) {
            qvTest::prefetchAhead(s, items, i);
            const qvTest::SceneItem& item = items[i];
            const size_t at = static_cast<size_t>(item.index);
            ar(static_cast<char>(item.kind));
            if (item.kind == qvTest::SceneItem::mesh) {
                const auto& m = s.meshes[at];
                ar(m->name, m->index, m->flags, m->chars, m->bytes, m->shorts, m->ushorts, m->indices, m->uints,
                   m->ids, m->uids, m->positions, m->weights);
            } else if (item.kind == qvTest::SceneItem::material) {
                const auto& m = s.materials[at];
                ar(m->name, m->index, m->description, m->color[0], m->color[1], m->color[2], m->shininess,
                   static_cast<uint32_t>(m->layers.size()));
                for (const auto& layer : m->layers)
                    ar(layer.name, layer.blend, layer.values);
            } else {
                const auto& n = s.nodes[at];
                ar(n->name, n->index, n->visible, n->kind, indexOf(n->parent),
                   n->link == &s.missing ? -1 : indexOf(n->link), indexOf(n->mesh), indexOf(n->material));
                std::vector<int> children;
                children.reserve(n->children.size());
                for (const qvTest::SceneNode* child : n->children)
                    children.push_back(child->index);
                ar(children, cereal::binary_data(n->transform, sizeof n->transform),
                   cereal::binary_data(n->bounds, sizeof n->bounds));
            }
        }
    }

    template <class Archive> void load(Archive& ar)
    {
        qvTest::Scene& s = *target;
        uint32_t meshes = 0, materials = 0, nodes = 0;
        ar(meshes, materials, nodes);
        s.meshes.resize(meshes);
        s.materials.resize(materials);
        s.nodes.resize(nodes);
        struct Links {
            int parent, link, mesh, material;
            std::vector<int> children;
        };
        std::vector<Links> links(nodes);
        for (uint32_t i = 0; i < meshes + materials + nodes; ++i) {
            char kind = 0;
            ar(kind);
            if (kind == qvTest::SceneItem::mesh) {
                auto m = std::make_unique<qvTest::SceneMesh>();
                ar(m->name, m->index, m->flags, m->chars, m->bytes, m->shorts, m->ushorts, m->indices, m->uints,
                   m->ids, m->uids, m->positions, m->weights);
                s.meshes.at(static_cast<size_t>(m->index)) = std::move(m);
            } else if (kind == qvTest::SceneItem::material) {
                auto m = std::make_unique<qvTest::SceneMaterial>();
                uint32_t layers = 0;
                ar(m->name, m->index, m->description, m->color[0], m->color[1], m->color[2], m->shininess, layers);
                m->layers.resize(layers);
                for (auto& layer : m->layers)
                    ar(layer.name, layer.blend, layer.values);
                s.materials.at(static_cast<size_t>(m->index)) = std::move(m);
            } else {
                auto n = std::make_unique<qvTest::SceneNode>();
                ar(n->name, n->index, n->visible, n->kind);
                Links& l = links.at(static_cast<size_t>(n->index));
                ar(l.parent, l.link, l.mesh, l.material, l.children,
                   cereal::binary_data(n->transform, sizeof n->transform),
                   cereal::binary_data(n->bounds, sizeof n->bounds));
                s.nodes[static_cast<size_t>(n->index)] = std::move(n);
            }
        }
        // References become pointers once every object is in place.
        auto at = [](auto& objects, int index) { return index < 0 ? nullptr : objects[static_cast<size_t>(index)].get(); };
        for (uint32_t i = 0; i < nodes; ++i) {
            qvTest::SceneNode& n = *s.nodes[i];
            const Links& l = links[i];
            n.parent = at(s.nodes, l.parent);
            n.link = at(s.nodes, l.link);
            n.mesh = at(s.meshes, l.mesh);
            n.material = at(s.materials, l.material);
            n.children.reserve(l.children.size());
            for (int child : l.children)
                n.children.push_back(at(s.nodes, child));
        }
    }
};

void sceneWriteAnchor(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene.cereal");
    for (auto _ : state) {
        std::ofstream out(path, std::ios::binary);
        cereal::BinaryOutputArchive archive(out);
        CerealScene s;
        s.source = &scene();
        s.save(archive);
    }
    report(state, fileBytes(path), sceneObjects());
}

void sceneReadAnchor(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_scene.cereal");
    {
        std::ofstream out(path, std::ios::binary);
        cereal::BinaryOutputArchive archive(out);
        CerealScene s;
        s.source = &scene();
        s.save(archive);
    }
    auto load = [&path](qvTest::Scene& copy) {
        std::ifstream in(path, std::ios::binary);
        cereal::BinaryInputArchive archive(in);
        CerealScene s;
        s.target = &copy;
        s.load(archive);
    };
    {
        qvTest::Scene copy;
        load(copy);
        if (!qvTest::compareScenes(scene(), copy).empty())
            state.SkipWithError("the scene read back differs");
    }
    for (auto _ : state) {
        qvTest::Scene copy;
        load(copy);
        benchmark::DoNotOptimize(copy.nodes.data());
    }
    report(state, fileBytes(path), sceneObjects());
}
#endif

// ---- 100 MB of double arrays: 100 packets of one 1 MB array each

constexpr int arrayPackets = 100;
constexpr int arrayLength = (1 << 20) / 8;
constexpr long long arrayBytes = static_cast<long long>(arrayPackets) * arrayLength * 8;

const std::vector<double>& arrayValues()
{
    static const std::vector<double> values = [] {
        std::vector<double> v(static_cast<size_t>(arrayLength));
        for (size_t i = 0; i < v.size(); ++i)
            v[i] = static_cast<double>(i) * 0.5;
        return v;
    }();
    return values;
}

class ArrayRegistry : public ioPacketRegistry {
public:
    ArrayRegistry(bool reading, std::vector<double>* into) : ioPacketRegistry(reading), into(into) {}

protected:
    class ArrayType : public ioPacketType {
    public:
        explicit ArrayType(std::vector<double>* into) : ioPacketType("doubles"), into(into) {}
        void read(ioClientReadContext& client) override
        {
            client->readDoubleArray(into->data(), static_cast<int>(into->size()));
        }
        std::vector<double>* into;
    };
    void registerTypes() override { supportedType(new ArrayType(into)); }

private:
    std::vector<double>* into;
};

ioStatus writeArraysFile(const std::string& path)
{
    ArrayRegistry registry(false, nullptr);
    ioBufferedStreamOutput out;
    out.openFile(path.c_str());
    std::unique_ptr<ioWriteContext> ctx(ioWriteContextAlloc(out, ioWriteBinary, &registry));
    ctx->startFile();
    ioPacketType* type = registry.lookup("doubles");
    for (int p = 0; p < arrayPackets; ++p) {
        ctx->startPacket(type);
        ctx->writeDoubleArray(arrayValues().data(), arrayLength);
        ctx->endPacket();
    }
    ctx->endFile();
    out.close();
    return ctx->getStatus();
}

void arraysWriteQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_arrays.qvb");
    for (auto _ : state)
        if (writeArraysFile(path) != ioOk)
            state.SkipWithError("write failed");
    report(state, arrayBytes, arrayPackets);
}

void arraysReadQv(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_arrays.qvb");
    writeArraysFile(path);
    std::vector<double> into(static_cast<size_t>(arrayLength));
    for (auto _ : state) {
        ArrayRegistry registry(true, &into);
        ioBufferedStreamInput in;
        in.openFile(path.c_str());
        std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(in, &registry));
        ioClientReadContext client(*ctx);
        ctx->readFile(client);
        in.close();
        if (ctx->getStatus() != ioOk)
            state.SkipWithError("read failed");
        benchmark::DoNotOptimize(into.data());
    }
    report(state, arrayBytes, arrayPackets);
}

// The raw loops: the same bytes through a 4096-byte buffer with write() and read().
bool writeRawFile(const std::string& path)
{
    char buffer[4096];
    bool ok = true;
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    for (int p = 0; p < arrayPackets; ++p) {
        const char* bytes = reinterpret_cast<const char*>(arrayValues().data());
        for (size_t at = 0; at < static_cast<size_t>(arrayLength) * 8; at += sizeof buffer) {
            std::memcpy(buffer, bytes + at, sizeof buffer);
            ok = ::write(fd, buffer, sizeof buffer) == static_cast<ssize_t>(sizeof buffer) && ok;
        }
    }
    ::close(fd);
    return ok;
}

void arraysWriteAnchor(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_arrays.raw");
    for (auto _ : state)
        if (!writeRawFile(path))
            state.SkipWithError("write failed");
    report(state, arrayBytes, arrayPackets);
}

void arraysReadAnchor(benchmark::State& state)
{
    std::string path = tempPath("qvBase_bench_arrays.raw");
    writeRawFile(path);
    std::vector<double> into(static_cast<size_t>(arrayLength));
    char buffer[4096];
    for (auto _ : state) {
        int fd = ::open(path.c_str(), O_RDONLY);
        char* bytes = reinterpret_cast<char*>(into.data());
        for (int p = 0; p < arrayPackets; ++p)
            for (size_t at = 0; at < into.size() * 8; at += sizeof buffer) {
                if (::read(fd, buffer, sizeof buffer) != static_cast<ssize_t>(sizeof buffer))
                    state.SkipWithError("read failed");
                std::memcpy(bytes + at, buffer, sizeof buffer);
            }
        ::close(fd);
        benchmark::DoNotOptimize(into.data());
    }
    report(state, arrayBytes, arrayPackets);
}

void arraysMemcpy(benchmark::State& state)
{
    std::vector<double> into(static_cast<size_t>(arrayLength));
    for (auto _ : state) {
        for (int p = 0; p < arrayPackets; ++p) {
            std::memcpy(into.data(), arrayValues().data(), into.size() * 8);
            benchmark::ClobberMemory();
        }
    }
    report(state, arrayBytes, arrayPackets);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RegisterBenchmark("scene_write/qv", sceneWriteQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("scene_write_wb/qv", sceneWriteBehindQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("scene_read/qv", sceneReadQv)->Unit(benchmark::kMillisecond);
#ifdef QVBASE_BENCH_CEREAL
    benchmark::RegisterBenchmark("scene_write/anchor", sceneWriteAnchor)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("scene_write_wb/anchor", sceneWriteAnchor)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("scene_read/anchor", sceneReadAnchor)->Unit(benchmark::kMillisecond);
#endif
    benchmark::RegisterBenchmark("arrays_write/qv", arraysWriteQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("arrays_write/anchor", arraysWriteAnchor)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("arrays_read/qv", arraysReadQv)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("arrays_read/anchor", arraysReadAnchor)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("arrays_memcpy/anchor", arraysMemcpy)->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
