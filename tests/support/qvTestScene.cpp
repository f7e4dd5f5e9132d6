#include "qvTestScene.h"

#include "internal/ioNumberText.h"
#include "ioBufferedStream.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"
#include "qvTestMemoryStream.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <random>
#include <set>

namespace qvTest {

namespace {

const char* const meshTypeName = "scene_mesh";
const char* const materialTypeName = "scene_material";
const char* const nodeTypeName = "scene_node";

// ---- values that survive every encoding exactly

// The nearest value whose text with the given significant digits reads back as itself.
template <typename T> T canonical(T value, int digits, T fallback)
{
    for (int i = 0; i < 8; ++i) {
        char text[40];
        char* end = std::to_chars(text, text + sizeof text, static_cast<double>(value), std::chars_format::general, digits).ptr;
        double back = 0;
        [[maybe_unused]] const io::internal::ExactDecimalScope exact; // as the library reads numbers
        std::from_chars(text, end, back);
        if (static_cast<T>(back) == value)
            return value;
        value = static_cast<T>(back);
    }
    return fallback;
}

// By plain multiplication, not std::pow: C runtimes differ in pow's last bit, and the scene must
// be the same on every platform.
double powerOfTen(int exponent)
{
    double value = 1.0;
    for (int i = 0; i < exponent; ++i)
        value *= 10.0;
    for (int i = 0; i > exponent; --i)
        value /= 10.0;
    return value;
}

class Random {
public:
    explicit Random(unsigned seed) : engine(seed) {}
    int range(int low, int high) { return std::uniform_int_distribution<int>(low, high)(engine); }
    uint64_t bits() { return engine(); }
    double real()
    {
        double mantissa = std::uniform_real_distribution<double>(-1.0, 1.0)(engine);
        return canonical(mantissa * powerOfTen(range(-30, 30)), 16, 0.5);
    }
    float realFloat()
    {
        return canonical(static_cast<float>(std::uniform_real_distribution<double>(-1e4, 1e4)(engine)), 7, 0.25f);
    }
    // Names use every character the ASCII format escapes, and a few it does not.
    std::string name(const char* kind, int index)
    {
        static const char specials[] = "\"<>[\\]{}\n\t %\xC3\xA9#";
        std::string text = kind;
        text += std::to_string(index);
        int extra = range(0, 6);
        for (int i = 0; i < extra; ++i)
            text += specials[range(0, static_cast<int>(sizeof specials) - 2)];
        return text;
    }

private:
    std::mt19937_64 engine;
};

template <typename T, typename Make> std::vector<T> makeArray(int length, Make make)
{
    std::vector<T> values(static_cast<size_t>(length));
    for (T& value : values)
        value = make();
    return values;
}

// ---- one walk over each kind of object, run by a writer, a reader and a comparer, so that the
// three cannot drift apart

#define QVTEST_SCENE_ARRAYS(X)                                                                     \
    X(Bool, bool) X(Char, char) X(UChar, unsigned char) X(Short, short) X(UShort, unsigned short)  \
    X(Int, int) X(UInt, unsigned int) X(Int64, int64_t) X(UInt64, uint64_t) X(Float, float)        \
    X(Double, double)

enum TypeIndex { meshType, materialType, nodeType };

// A walker's field() takes a string, a single value or a vector (its count, then its values).
template <class Self> struct Walker {
    template <class... F> void fields(F&... f) { (static_cast<Self*>(this)->field(f), ...); }
};

template <class Walk, class Mesh> void walkMesh(Walk& w, Mesh& mesh)
{
    w.begin(meshType, &mesh);
    w.fields(mesh.name, mesh.index);
    w.flags(mesh.flags);
    w.fields(mesh.chars, mesh.bytes, mesh.shorts, mesh.ushorts);
    w.sub();
    w.fields(mesh.indices, mesh.uints, mesh.ids, mesh.uids);
    w.endSub();
    w.chunk();
    w.fields(mesh.positions);
    w.chunk();
    w.fields(mesh.weights);
    w.end(true);
}

template <class Walk, class Material> void walkMaterial(Walk& w, Material& material)
{
    w.stringPacket(material.description);
    w.begin(materialType, &material);
    w.fields(material.name, material.index);
    w.stringReference(material.description);
    w.array(material.color, 3);
    w.fields(material.shininess);
    w.count(material.layers);
    w.sub();
    for (auto& layer : material.layers) {
        w.sub();
        w.fields(layer.name);
        w.chunk();
        w.fields(layer.blend, layer.values);
        w.endChunk();
        w.endSub();
    }
    w.endSub();
    w.end(false);
}

template <class Walk, class Node> void walkNode(Walk& w, Node& node)
{
    w.begin(nodeType, &node);
    w.fields(node.name, node.index, node.visible, node.kind);
    w.reference(node.parent, 0);
    w.reference(node.link, 1);
    w.reference(node.mesh, 2);
    w.reference(node.material, 3);
    w.count(node.children);
    w.sub();
    for (size_t i = 0; i < node.children.size(); ++i)
        w.reference(node.children[i], static_cast<int>(100 + i));
    w.endSub();
    w.chunk();
    w.array(node.transform, 16);
    w.chunk();
    w.array(node.bounds, 6);
    w.end(true);
}

struct Writer : Walker<Writer> {
    ioWriteContext& ctx;
    ioPacketType* types[3];
    const void* missing; // written as a null reference

    void begin(TypeIndex type, const void* object) { ctx.startPacket(types[type], object); }
    void end(bool) { ctx.endPacket(); }
    void sub() { ctx.startSubPacket(); }
    void endSub() { ctx.endSubPacket(); }
    void chunk() { ctx.startChunk(); }
    void endChunk() { ctx.endChunk(); }
    void field(const std::string& text) { ctx.writeCString(text.c_str()); }
    void field(bool v) { ctx.writeBool(v); }
    void field(char v) { ctx.writeChar(v); }
    void field(int v) { ctx.writeInt(v); }
    void field(float v) { ctx.writeFloat(v); }
#define QVTEST_WRITE_ARRAY(Name, T)                                                                \
    void array(const T* values, size_t n) { ctx.write##Name##Array(values, static_cast<int>(n)); }
    QVTEST_SCENE_ARRAYS(QVTEST_WRITE_ARRAY)
#undef QVTEST_WRITE_ARRAY
    template <typename T> void count(const std::vector<T>& values) { ctx.writeInt(static_cast<int>(values.size())); }
    template <typename T> void field(const std::vector<T>& values)
    {
        count(values);
        array(values.data(), values.size());
    }
    // Unlike the other chars, flags travel as a bool array.
    void flags(const std::vector<char>& values)
    {
        std::unique_ptr<bool[]> flags(new bool[values.size() + 1]);
        std::copy(values.begin(), values.end(), flags.get());
        count(values);
        array(flags.get(), values.size());
    }
    void reference(const void* object, int) { ctx.writeReference(object == missing ? nullptr : object, false); }
    void stringPacket(const std::string& text) { ctx.writeCStringPacket(text.c_str()); }
    void stringReference(const std::string& text) { ctx.writeReference(text.c_str(), false); }
};

struct Reader : Walker<Reader> {
    ioReadContext& ctx;
    explicit Reader(ioReadContext& ctx) : ctx(ctx) {}

    void begin(TypeIndex, void* object) { ctx.definePacketReference(object); }
    void end(bool chunked)
    {
        if (chunked)
            ctx.endChunk();
    }
    void sub() { ctx.startSubPacket(); }
    void endSub() { ctx.endSubPacket(); }
    void chunk() { ctx.nextChunk(); }
    void endChunk() { ctx.endChunk(); }
    static std::string text(const void* read) { return read ? static_cast<const char*>(read) : ""; }
    void field(std::string& text) { text = Reader::text(ctx.readCString()); }
    void field(bool& v) { v = ctx.readBool(); }
    void field(char& v) { v = ctx.readChar(); }
    void field(int& v) { v = ctx.readInt(); }
    void field(float& v) { v = ctx.readFloat(); }
#define QVTEST_READ_ARRAY(Name, T)                                                                 \
    void array(T* values, size_t n) { ctx.read##Name##Array(values, static_cast<int>(n)); }
    QVTEST_SCENE_ARRAYS(QVTEST_READ_ARRAY)
#undef QVTEST_READ_ARRAY
    // A count that cannot be right stops the file.
    template <typename T> void count(std::vector<T>& values)
    {
        int n = ctx.readInt();
        if (n < 0 || n > (1 << 20)) {
            ctx.setStatus(ioBadData);
            n = 0;
        }
        values.resize(static_cast<size_t>(n));
    }
    // Read for empty arrays too: the checking encodings tag every array, empty or not.
    template <typename T> void field(std::vector<T>& values)
    {
        count(values);
        array(values.data(), values.size());
    }
    void flags(std::vector<char>& values)
    {
        count(values);
        std::unique_ptr<bool[]> flags(new bool[values.size() + 1]);
        array(flags.get(), values.size());
        std::copy(flags.get(), flags.get() + values.size(), values.begin());
    }
    template <typename T> void reference(T*& slot, int extra) { ctx.readReferenceUsage(&slot, extra); }
    void stringPacket(std::string&) {}
    void stringReference(std::string& text) { text = Reader::text(ctx.readReferenceUsage()); }
};

struct ReadState {
    Scene* scene;
    SceneReadResult* result;
    // Objects whose index is out of range or taken (damaged files), in file order.
    std::vector<std::unique_ptr<SceneMesh>> strayMeshes;
    std::vector<std::unique_ptr<SceneMaterial>> strayMaterials;
    std::vector<std::unique_ptr<SceneNode>> strayNodes;
};

// Reads one object and puts it straight at its index, as an application keeping its objects in
// arrays would; objects that cannot go there are kept aside for orderByIndex.
template <typename T, typename Walk>
void readObject(std::vector<std::unique_ptr<T>>& objects, std::vector<std::unique_ptr<T>>& strays, Walk walk)
{
    auto object = std::make_unique<T>();
    walk(*object);
    if (object->index >= 0 && object->index < (1 << 20)) {
        size_t at = static_cast<size_t>(object->index);
        if (at >= objects.size())
            objects.resize(at + 1);
        if (!objects[at]) {
            objects[at] = std::move(object);
            return;
        }
    }
    strays.push_back(std::move(object));
}

class SceneType : public ioPacketType {
public:
    SceneType(const char* name, TypeIndex index, ReadState* state) : ioPacketType(name), index(index), state(state) {}
    void read(ioClientReadContext& client) override
    {
        Reader reader(client.context());
        Scene& scene = *state->scene;
        if (index == meshType)
            readObject(scene.meshes, state->strayMeshes, [&](SceneMesh& m) { walkMesh(reader, m); });
        else if (index == materialType)
            readObject(scene.materials, state->strayMaterials, [&](SceneMaterial& m) { walkMaterial(reader, m); });
        else
            readObject(scene.nodes, state->strayNodes, [&](SceneNode& n) { walkNode(reader, n); });
    }
    void memoryNotReferenced(ioClientReadContext&, void*) override { state->result->unreferenced.push_back(getName()); }
    void hasUnresolvedPointer(ioClientReadContext&, void*, int) override { state->result->unresolved.push_back(getName()); }

private:
    TypeIndex index;
    ReadState* state;
};

class SceneRegistry : public ioPacketRegistry {
public:
    SceneRegistry(bool reading, ReadState* state) : ioPacketRegistry(reading), state(state) {}

protected:
    void registerTypes() override
    {
        supportedType(new SceneType(meshTypeName, meshType, state));
        supportedType(new SceneType(materialTypeName, materialType, state));
        supportedType(new SceneType(nodeTypeName, nodeType, state));
    }

private:
    ReadState* state;
};


// Completes the placement of readObject: when every index from 0 to n-1 came exactly once (as in
// every complete file) the objects are in place already; otherwise the objects, strays included,
// are ordered by index, those of equal index in file order.
template <typename T>
void orderByIndex(std::vector<std::unique_ptr<T>>& objects, std::vector<std::unique_ptr<T>>& strays)
{
    bool complete = strays.empty()
                    && std::none_of(objects.begin(), objects.end(), [](const auto& o) { return !o; });
    if (complete)
        return;
    objects.erase(std::remove(objects.begin(), objects.end(), nullptr), objects.end());
    for (auto& stray : strays)
        objects.push_back(std::move(stray));
    strays.clear();
    std::stable_sort(objects.begin(), objects.end(),
                     [](const auto& a, const auto& b) { return a->index < b->index; });
}

} // namespace

Scene makeScene(const SceneOptions& options)
{
    Random random(options.seed);
    Scene scene;
    int meshCount = std::max(1, options.objects / 4);
    int materialCount = std::max(1, options.objects / 8);
    int nodeCount = std::max(1, options.objects - meshCount - materialCount);
    auto length = [&]() { return random.range(0, 2 * options.arrayLength); };

    for (int i = 0; i < meshCount; ++i) {
        auto mesh = std::make_unique<SceneMesh>();
        mesh->name = random.name("mesh", i);
        mesh->index = i;
        mesh->flags = makeArray<char>(length(), [&] { return static_cast<char>(random.range(0, 1)); });
        mesh->chars = makeArray<char>(length(), [&] { return static_cast<char>(random.range(-128, 127)); });
        mesh->bytes = makeArray<unsigned char>(length(), [&] { return static_cast<unsigned char>(random.range(0, 255)); });
        mesh->shorts = makeArray<short>(length(), [&] { return static_cast<short>(random.range(-32768, 32767)); });
        mesh->ushorts = makeArray<unsigned short>(length(), [&] { return static_cast<unsigned short>(random.range(0, 65535)); });
        mesh->indices = makeArray<int>(length(), [&] { return static_cast<int>(random.bits()); });
        mesh->uints = makeArray<unsigned int>(length(), [&] { return static_cast<unsigned int>(random.bits()); });
        mesh->ids = makeArray<int64_t>(length(), [&] { return static_cast<int64_t>(random.bits()); });
        mesh->uids = makeArray<uint64_t>(length(), [&] { return random.bits(); });
        mesh->positions = makeArray<float>(3 * length(), [&] { return random.realFloat(); });
        mesh->weights = makeArray<double>(length(), [&] { return random.real(); });
        scene.meshes.push_back(std::move(mesh));
    }
    for (int i = 0; i < materialCount; ++i) {
        auto material = std::make_unique<SceneMaterial>();
        material->name = random.name("material", i);
        material->index = i;
        material->description = random.name("a material {with} <text> [", i);
        for (double& c : material->color)
            c = random.real();
        material->shininess = random.realFloat();
        int layers = random.range(0, 3);
        for (int l = 0; l < layers; ++l) {
            SceneLayer layer;
            layer.name = random.name("layer", l);
            layer.blend = random.range(-5, 5);
            layer.values = makeArray<float>(random.range(0, 4), [&] { return random.realFloat(); });
            material->layers.push_back(std::move(layer));
        }
        scene.materials.push_back(std::move(material));
    }
    for (int i = 0; i < nodeCount; ++i) {
        auto node = std::make_unique<SceneNode>();
        node->name = random.name("node", i);
        node->index = i;
        node->visible = random.range(0, 1) == 1;
        node->kind = static_cast<char>(random.range(-128, 127));
        for (double& t : node->transform)
            t = random.real();
        for (float& b : node->bounds)
            b = random.realFloat();
        scene.nodes.push_back(std::move(node));
    }
    // A forest: each node after the first few has an earlier parent; links go anywhere, and
    // pairs of links form cycles.
    for (int i = 0; i < nodeCount; ++i) {
        SceneNode* node = scene.nodes[static_cast<size_t>(i)].get();
        if (i >= 4) {
            SceneNode* parent = scene.nodes[static_cast<size_t>(random.range(0, i - 1))].get();
            node->parent = parent;
            parent->children.push_back(node);
        }
        if (random.range(0, 2) == 0)
            node->link = scene.nodes[static_cast<size_t>(random.range(0, nodeCount - 1))].get();
        if (random.range(0, 1) == 0)
            node->mesh = scene.meshes[static_cast<size_t>(random.range(0, meshCount - 1))].get();
        if (random.range(0, 3) == 0)
            node->material = scene.materials[static_cast<size_t>(random.range(0, materialCount - 1))].get();
    }
    for (int i = 0; i + 1 < nodeCount; i += 7) {
        scene.nodes[static_cast<size_t>(i)]->link = scene.nodes[static_cast<size_t>(i + 1)].get();
        scene.nodes[static_cast<size_t>(i + 1)]->link = scene.nodes[static_cast<size_t>(i)].get();
    }
    for (int i = 0; i < options.dangling && nodeCount > 0; ++i)
        scene.nodes[static_cast<size_t>(random.range(0, nodeCount - 1))]->link = &scene.missing;
    return scene;
}

std::vector<SceneItem> writeOrder(const Scene& scene)
{
    std::vector<int> nodes(scene.nodes.size());
    for (size_t i = 0; i < nodes.size(); ++i)
        nodes[i] = static_cast<int>(i);
    std::mt19937 shuffle(12345);
    std::shuffle(nodes.begin(), nodes.end(), shuffle);
    std::vector<SceneItem> items;
    items.reserve(scene.meshes.size() + scene.materials.size() + nodes.size());
    size_t meshAt = 0, materialAt = 0, nodeAt = 0;
    while (meshAt < scene.meshes.size() || materialAt < scene.materials.size() || nodeAt < nodes.size()) {
        for (int i = 0; i < 2 && nodeAt < nodes.size(); ++i)
            items.push_back({SceneItem::node, nodes[nodeAt++]});
        if (meshAt < scene.meshes.size())
            items.push_back({SceneItem::mesh, static_cast<int>(meshAt++)});
        if (materialAt < scene.materials.size() && (nodeAt % 4 == 0 || nodeAt >= nodes.size()))
            items.push_back({SceneItem::material, static_cast<int>(materialAt++)});
    }
    return items;
}

void prefetchAhead(const Scene& scene, const std::vector<SceneItem>& items, size_t at)
{
    // The whole node six items ahead, then the child list of the one three ahead, whose node
    // the previous calls have fetched.
    if (at + 6 < items.size() && items[at + 6].kind == SceneItem::node) {
        const SceneNode* node = scene.nodes[static_cast<size_t>(items[at + 6].index)].get();
        for (size_t line = 0; line < sizeof(SceneNode); line += 64)
            __builtin_prefetch(reinterpret_cast<const char*>(node) + line);
    }
    if (at + 3 < items.size() && items[at + 3].kind == SceneItem::node)
        __builtin_prefetch(scene.nodes[static_cast<size_t>(items[at + 3].index)]->children.data());
}

ioStatus writeScene(const Scene& scene, ioBufferedStreamOutput& stream, ioWriteMethod method,
                    const std::function<void()>& afterRegistry)
{
    return writeScene(
        scene, stream,
        [method](ioBufferedStreamOutput& out) { return ioWriteContextAlloc(out, method, nullptr); },
        afterRegistry);
}

namespace {

ioStatus writeWith(const Scene& scene, ioWriteContext* made, const std::function<void()>& afterRegistry,
                   const void* missing)
{
    SceneRegistry registry(false, nullptr);
    std::unique_ptr<ioWriteContext> ctx(made);
    if (!ctx)
        return ioError;
    ctx->associateRegistry(&registry);
    ctx->startFile();
    if (afterRegistry)
        afterRegistry();
    Writer writer{{}, *ctx, {registry.lookup(meshTypeName), registry.lookup(materialTypeName), registry.lookup(nodeTypeName)}, missing};
    std::vector<SceneItem> items = writeOrder(scene);
    for (size_t i = 0; i < items.size(); ++i) {
        prefetchAhead(scene, items, i);
        size_t at = static_cast<size_t>(items[i].index);
        if (items[i].kind == SceneItem::mesh)
            walkMesh(writer, *scene.meshes[at]);
        else if (items[i].kind == SceneItem::material)
            walkMaterial(writer, *scene.materials[at]);
        else
            walkNode(writer, *scene.nodes[at]);
    }
    ctx->endFile();
    return ctx->getStatus();
}

} // namespace

ioStatus writeScene(const Scene& scene, ioBufferedStreamOutput& stream,
                    const std::function<ioWriteContext*(ioBufferedStreamOutput&)>& makeContext,
                    const std::function<void()>& afterRegistry)
{
    return writeWith(scene, makeContext(stream), afterRegistry, nullptr);
}

ioStatus writeSceneFile(const Scene& scene, const std::string& path, ioWriteMethod method)
{
    ioBufferedStreamOutput stream;
    stream.openFile(path.c_str());
    if (!stream.good())
        return ioOpenFailed;
    ioStatus status = writeScene(scene, stream, method);
    stream.close();
    if (status == ioOk && !stream.good())
        status = ioError;
    return status;
}

SceneReadResult readScene(Scene& scene, ioBufferedStreamInput& stream,
                          const std::function<void(ioReadContext&)>& afterRegistry)
{
    SceneReadResult result;
    ReadState state{&scene, &result, {}, {}, {}};
    SceneRegistry registry(true, &state);
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(stream, &registry));
    if (!ctx)
        return result;
    result.opened = true;
    ioClientReadContext client(*ctx);
    if (afterRegistry && ctx->readRegistry() == ioOk)
        afterRegistry(*ctx);
    ctx->readFile(client);
    result.status = ctx->getStatus();
    result.packetsRead = ctx->getPacketsRead();
    orderByIndex(scene.meshes, state.strayMeshes);
    orderByIndex(scene.materials, state.strayMaterials);
    orderByIndex(scene.nodes, state.strayNodes);
    return result;
}

SceneReadResult readSceneFile(Scene& scene, const std::string& path)
{
    ioBufferedStreamInput stream;
    stream.openFile(path.c_str());
    if (!stream.good())
        return SceneReadResult();
    SceneReadResult result = readScene(scene, stream);
    stream.close();
    return result;
}

// Both scenes in the binary method, a link to expected.missing written as a null link: equal
// scenes give equal bytes.
std::string compareScenes(const Scene& expected, const Scene& actual)
{
    std::string bytes[2];
    for (int i = 0; i < 2; ++i) {
        MemoryOutput out(bytes[i]);
        writeWith(i ? actual : expected, ioWriteContextAlloc(out, ioWriteBinary, nullptr), {}, &expected.missing);
        out.close();
    }
    if (bytes[0] == bytes[1])
        return "";
    size_t at = static_cast<size_t>(std::mismatch(bytes[0].begin(), bytes[0].end(), bytes[1].begin(), bytes[1].end()).first - bytes[0].begin());
    return "the scenes differ from byte " + std::to_string(at) + " of their binary files";
}

std::vector<std::string> expectedUnreferenced(const Scene& scene)
{
    std::set<const void*> used;
    for (const auto& node : scene.nodes) {
        used.insert({node->parent, node->link, node->mesh, node->material});
        used.insert(node->children.begin(), node->children.end());
    }
    std::vector<std::string> names;
    auto collect = [&](const auto& objects, const char* name) {
        for (const auto& object : objects)
            if (!used.count(object.get()))
                names.push_back(name);
    };
    collect(scene.meshes, meshTypeName);
    collect(scene.materials, materialTypeName);
    collect(scene.nodes, nodeTypeName);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace qvTest
