#include "qvTestScene.h"

#include "ioBufferedStream.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <random>
#include <sstream>

namespace qvTest {

namespace {

const char* const meshTypeName = "scene_mesh";
const char* const materialTypeName = "scene_material";
const char* const nodeTypeName = "scene_node";

// ---- values that survive every encoding exactly

double canonicalDouble(double value)
{
    for (int i = 0; i < 8; ++i) {
        char text[40];
        char* end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 16).ptr;
        double back = 0;
        std::from_chars(text, end, back);
        if (back == value)
            return value;
        value = back;
    }
    return 0.5;
}

float canonicalFloat(float value)
{
    for (int i = 0; i < 8; ++i) {
        char text[40];
        char* end = std::to_chars(text, text + sizeof text, static_cast<double>(value),
                                  std::chars_format::general, 7)
                        .ptr;
        double back = 0;
        std::from_chars(text, end, back);
        if (static_cast<float>(back) == value)
            return value;
        value = static_cast<float>(back);
    }
    return 0.25f;
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
        return canonicalDouble(mantissa * powerOfTen(range(-30, 30)));
    }
    float realFloat()
    {
        float value = static_cast<float>(std::uniform_real_distribution<double>(-1e4, 1e4)(engine));
        return canonicalFloat(value);
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

// ---- packet types (reading side builds into the scene)

struct ReadState {
    Scene* scene;
    SceneReadResult* result;
};

class SceneType : public ioPacketType {
public:
    SceneType(const char* name, ReadState* state) : ioPacketType(name), state(state) {}
    void memoryNotReferenced(ioClientReadContext&, void*) override
    {
        if (state)
            state->result->unreferenced.push_back(getName());
    }
    void hasUnresolvedPointer(ioClientReadContext&, void*, int) override
    {
        if (state)
            state->result->unresolved.push_back(getName());
    }

protected:
    ReadState* state;
};

// Reads a count written before an array; a count that cannot be right stops the file.
int readCount(ioReadContext& ctx)
{
    int count = ctx.readInt();
    if (count < 0 || count > (1 << 20)) {
        ctx.setStatus(ioBadData);
        return 0;
    }
    return count;
}

template <typename T, typename ReadArray>
void readVector(ioReadContext& ctx, std::vector<T>& values, ReadArray readArray)
{
    values.resize(static_cast<size_t>(readCount(ctx)));
    // Called for empty arrays too: the checking encodings tag every array, empty or not.
    (ctx.*readArray)(values.data(), static_cast<int>(values.size()));
}

template <typename T, typename WriteArray>
void writeVector(ioWriteContext& ctx, const std::vector<T>& values, WriteArray writeArray)
{
    ctx.writeInt(static_cast<int>(values.size()));
    (ctx.*writeArray)(values.data(), static_cast<int>(values.size()));
}

std::string readText(ioReadContext& ctx)
{
    const char* text = ctx.readCString();
    return text ? text : "";
}

class MeshType : public SceneType {
public:
    using SceneType::SceneType;

    static void write(ioWriteContext& ctx, ioPacketType* type, const SceneMesh& mesh)
    {
        ctx.startPacket(type, &mesh);
        ctx.writeCString(mesh.name.c_str());
        ctx.writeInt(mesh.index);
        std::unique_ptr<bool[]> flags(new bool[mesh.flags.size() + 1]);
        for (size_t i = 0; i < mesh.flags.size(); ++i)
            flags[i] = mesh.flags[i] != 0;
        ctx.writeInt(static_cast<int>(mesh.flags.size()));
        ctx.writeBoolArray(flags.get(), static_cast<int>(mesh.flags.size()));
        writeVector(ctx, mesh.chars, &ioWriteContext::writeCharArray);
        writeVector(ctx, mesh.bytes, &ioWriteContext::writeUCharArray);
        writeVector(ctx, mesh.shorts, &ioWriteContext::writeShortArray);
        writeVector(ctx, mesh.ushorts, &ioWriteContext::writeUShortArray);
        ctx.startSubPacket();
        writeVector(ctx, mesh.indices, &ioWriteContext::writeIntArray);
        writeVector(ctx, mesh.uints, &ioWriteContext::writeUIntArray);
        writeVector(ctx, mesh.ids, &ioWriteContext::writeInt64Array);
        writeVector(ctx, mesh.uids, &ioWriteContext::writeUInt64Array);
        ctx.endSubPacket();
        ctx.startChunk();
        writeVector(ctx, mesh.positions, &ioWriteContext::writeFloatArray);
        ctx.startChunk();
        writeVector(ctx, mesh.weights, &ioWriteContext::writeDoubleArray);
        ctx.endPacket();
    }

    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        auto mesh = std::make_unique<SceneMesh>();
        ctx.definePacketReference(mesh.get());
        mesh->name = readText(ctx);
        mesh->index = ctx.readInt();
        mesh->flags.resize(static_cast<size_t>(readCount(ctx)));
        std::unique_ptr<bool[]> flags(new bool[mesh->flags.size() + 1]);
        ctx.readBoolArray(flags.get(), static_cast<int>(mesh->flags.size()));
        for (size_t i = 0; i < mesh->flags.size(); ++i)
            mesh->flags[i] = flags[i] ? 1 : 0;
        readVector(ctx, mesh->chars, &ioReadContext::readCharArray);
        readVector(ctx, mesh->bytes, &ioReadContext::readUCharArray);
        readVector(ctx, mesh->shorts, &ioReadContext::readShortArray);
        readVector(ctx, mesh->ushorts, &ioReadContext::readUShortArray);
        ctx.startSubPacket();
        readVector(ctx, mesh->indices, &ioReadContext::readIntArray);
        readVector(ctx, mesh->uints, &ioReadContext::readUIntArray);
        readVector(ctx, mesh->ids, &ioReadContext::readInt64Array);
        readVector(ctx, mesh->uids, &ioReadContext::readUInt64Array);
        ctx.endSubPacket();
        ctx.nextChunk();
        readVector(ctx, mesh->positions, &ioReadContext::readFloatArray);
        ctx.nextChunk();
        readVector(ctx, mesh->weights, &ioReadContext::readDoubleArray);
        ctx.endChunk();
        state->scene->meshes.push_back(std::move(mesh));
    }
};

class MaterialType : public SceneType {
public:
    using SceneType::SceneType;

    static void write(ioWriteContext& ctx, ioPacketType* type, const SceneMaterial& material)
    {
        ctx.writeCStringPacket(material.description.c_str());
        ctx.startPacket(type, &material);
        ctx.writeCString(material.name.c_str());
        ctx.writeInt(material.index);
        ctx.writeReference(material.description.c_str(), false);
        ctx.writeDoubleArray(material.color, 3);
        ctx.writeFloat(material.shininess);
        ctx.writeInt(static_cast<int>(material.layers.size()));
        ctx.startSubPacket();
        for (const SceneLayer& layer : material.layers) {
            ctx.startSubPacket();
            ctx.writeCString(layer.name.c_str());
            ctx.startChunk();
            ctx.writeInt(layer.blend);
            writeVector(ctx, layer.values, &ioWriteContext::writeFloatArray);
            ctx.endChunk();
            ctx.endSubPacket();
        }
        ctx.endSubPacket();
        ctx.endPacket();
    }

    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        auto material = std::make_unique<SceneMaterial>();
        ctx.definePacketReference(material.get());
        material->name = readText(ctx);
        material->index = ctx.readInt();
        const char* description = static_cast<const char*>(ctx.readReferenceUsage());
        material->description = description ? description : "";
        ctx.readDoubleArray(material->color, 3);
        material->shininess = ctx.readFloat();
        material->layers.resize(static_cast<size_t>(readCount(ctx)));
        ctx.startSubPacket();
        for (SceneLayer& layer : material->layers) {
            ctx.startSubPacket();
            layer.name = readText(ctx);
            ctx.nextChunk();
            layer.blend = ctx.readInt();
            readVector(ctx, layer.values, &ioReadContext::readFloatArray);
            ctx.endChunk();
            ctx.endSubPacket();
        }
        ctx.endSubPacket();
        state->scene->materials.push_back(std::move(material));
    }
};

class NodeType : public SceneType {
public:
    using SceneType::SceneType;

    static void write(ioWriteContext& ctx, ioPacketType* type, const SceneNode& node)
    {
        ctx.startPacket(type, &node);
        ctx.writeCString(node.name.c_str());
        ctx.writeInt(node.index);
        ctx.writeBool(node.visible);
        ctx.writeChar(node.kind);
        ctx.writeReference(node.parent, false);
        ctx.writeReference(node.link, false);
        ctx.writeReference(node.mesh, false);
        ctx.writeReference(node.material, false);
        ctx.writeInt(static_cast<int>(node.children.size()));
        ctx.startSubPacket();
        for (const SceneNode* child : node.children)
            ctx.writeReference(child, false);
        ctx.endSubPacket();
        ctx.startChunk();
        ctx.writeDoubleArray(node.transform, 16);
        ctx.startChunk();
        ctx.writeFloatArray(node.bounds, 6);
        ctx.endPacket();
    }

    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        auto node = std::make_unique<SceneNode>();
        ctx.definePacketReference(node.get());
        node->name = readText(ctx);
        node->index = ctx.readInt();
        node->visible = ctx.readBool();
        node->kind = ctx.readChar();
        ctx.readReferenceUsage(&node->parent, 0);
        ctx.readReferenceUsage(&node->link, 1);
        ctx.readReferenceUsage(&node->mesh, 2);
        ctx.readReferenceUsage(&node->material, 3);
        node->children.resize(static_cast<size_t>(readCount(ctx)));
        ctx.startSubPacket();
        for (size_t i = 0; i < node->children.size(); ++i)
            ctx.readReferenceUsage(&node->children[i], static_cast<int>(100 + i));
        ctx.endSubPacket();
        ctx.nextChunk();
        ctx.readDoubleArray(node->transform, 16);
        ctx.nextChunk();
        ctx.readFloatArray(node->bounds, 6);
        ctx.endChunk();
        state->scene->nodes.push_back(std::move(node));
    }
};

class SceneRegistry : public ioPacketRegistry {
public:
    SceneRegistry(bool reading, ReadState* state) : ioPacketRegistry(reading), state(state) {}

protected:
    void registerTypes() override
    {
        supportedType(new MeshType(meshTypeName, state));
        supportedType(new MaterialType(materialTypeName, state));
        supportedType(new NodeType(nodeTypeName, state));
    }

private:
    ReadState* state;
};

template <typename T> int indexOf(const T* object)
{
    return object ? object->index : -1;
}

// Puts objects read in file order back in index order: each straight into its place when the
// indices are 0 to n-1 (as in every complete file), else by a stable sort.
template <typename T> void orderByIndex(std::vector<std::unique_ptr<T>>& objects)
{
    size_t n = objects.size();
    std::vector<char> seen(n);
    for (const auto& object : objects) {
        size_t at = static_cast<size_t>(object->index);
        if (object->index < 0 || at >= n || seen[at]) {
            std::stable_sort(objects.begin(), objects.end(),
                             [](const auto& a, const auto& b) { return a->index < b->index; });
            return;
        }
        seen[at] = 1;
    }
    std::vector<std::unique_ptr<T>> placed(n);
    for (auto& object : objects)
        placed[static_cast<size_t>(object->index)] = std::move(object);
    objects.swap(placed);
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

ioStatus writeScene(const Scene& scene, ioBufferedStreamOutput& stream,
                    const std::function<ioWriteContext*(ioBufferedStreamOutput&)>& makeContext,
                    const std::function<void()>& afterRegistry)
{
    SceneRegistry registry(false, nullptr);
    std::unique_ptr<ioWriteContext> ctx(makeContext(stream));
    if (!ctx)
        return ioError;
    ctx->associateRegistry(&registry);
    ctx->startFile();
    if (afterRegistry)
        afterRegistry();
    ioPacketType* meshType = registry.lookup(meshTypeName);
    ioPacketType* materialType = registry.lookup(materialTypeName);
    ioPacketType* nodeType = registry.lookup(nodeTypeName);

    std::vector<SceneItem> items = writeOrder(scene);
    for (size_t i = 0; i < items.size(); ++i) {
        prefetchAhead(scene, items, i);
        size_t at = static_cast<size_t>(items[i].index);
        switch (items[i].kind) {
        case SceneItem::mesh:
            MeshType::write(*ctx, meshType, *scene.meshes[at]);
            break;
        case SceneItem::material:
            MaterialType::write(*ctx, materialType, *scene.materials[at]);
            break;
        case SceneItem::node:
            NodeType::write(*ctx, nodeType, *scene.nodes[at]);
            break;
        }
    }
    ctx->endFile();
    return ctx->getStatus();
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
                          const std::function<void()>& afterRegistry)
{
    SceneReadResult result;
    ReadState state{&scene, &result};
    SceneRegistry registry(true, &state);
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(stream, &registry));
    if (!ctx)
        return result;
    result.opened = true;
    ioClientReadContext client(*ctx);
    if (afterRegistry && ctx->readRegistry() == ioOk)
        afterRegistry();
    ctx->readFile(client);
    result.status = ctx->getStatus();
    result.packetsRead = ctx->getPacketsRead();
    orderByIndex(scene.meshes);
    orderByIndex(scene.materials);
    orderByIndex(scene.nodes);
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

namespace {

template <typename T> bool sameBits(const std::vector<T>& a, const std::vector<T>& b)
{
    return a.size() == b.size()
           && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

} // namespace

std::string compareScenes(const Scene& expected, const Scene& actual)
{
    std::ostringstream diff;
    if (expected.meshes.size() != actual.meshes.size())
        return "mesh count " + std::to_string(expected.meshes.size()) + " vs "
               + std::to_string(actual.meshes.size());
    if (expected.materials.size() != actual.materials.size())
        return "material count " + std::to_string(expected.materials.size()) + " vs "
               + std::to_string(actual.materials.size());
    if (expected.nodes.size() != actual.nodes.size())
        return "node count " + std::to_string(expected.nodes.size()) + " vs "
               + std::to_string(actual.nodes.size());
    for (size_t i = 0; i < expected.meshes.size(); ++i) {
        const SceneMesh& a = *expected.meshes[i];
        const SceneMesh& b = *actual.meshes[i];
        bool same = a.name == b.name && a.index == b.index && a.flags == b.flags
                    && a.chars == b.chars && a.bytes == b.bytes && a.shorts == b.shorts
                    && a.ushorts == b.ushorts && a.indices == b.indices && a.uints == b.uints
                    && a.ids == b.ids && a.uids == b.uids && sameBits(a.positions, b.positions)
                    && sameBits(a.weights, b.weights);
        if (!same)
            return "mesh " + std::to_string(i) + " differs";
    }
    for (size_t i = 0; i < expected.materials.size(); ++i) {
        const SceneMaterial& a = *expected.materials[i];
        const SceneMaterial& b = *actual.materials[i];
        bool same = a.name == b.name && a.index == b.index && a.description == b.description
                    && std::memcmp(a.color, b.color, sizeof a.color) == 0
                    && std::memcmp(&a.shininess, &b.shininess, sizeof a.shininess) == 0
                    && a.layers.size() == b.layers.size();
        for (size_t l = 0; same && l < a.layers.size(); ++l)
            same = a.layers[l].name == b.layers[l].name && a.layers[l].blend == b.layers[l].blend
                   && sameBits(a.layers[l].values, b.layers[l].values);
        if (!same)
            return "material " + std::to_string(i) + " differs";
    }
    auto linkIndex = [&](const SceneNode* node) {
        return node == &expected.missing ? -1 : indexOf(node);
    };
    for (size_t i = 0; i < expected.nodes.size(); ++i) {
        const SceneNode& a = *expected.nodes[i];
        const SceneNode& b = *actual.nodes[i];
        bool same = a.name == b.name && a.index == b.index && a.visible == b.visible
                    && a.kind == b.kind && indexOf(a.parent) == indexOf(b.parent)
                    && linkIndex(a.link) == indexOf(b.link) && indexOf(a.mesh) == indexOf(b.mesh)
                    && indexOf(a.material) == indexOf(b.material)
                    && a.children.size() == b.children.size()
                    && std::memcmp(a.transform, b.transform, sizeof a.transform) == 0
                    && std::memcmp(a.bounds, b.bounds, sizeof a.bounds) == 0;
        for (size_t c = 0; same && c < a.children.size(); ++c)
            same = indexOf(a.children[c]) == indexOf(b.children[c]);
        if (!same)
            return "node " + std::to_string(i) + " differs";
    }
    return "";
}

std::vector<std::string> expectedUnreferenced(const Scene& scene)
{
    std::vector<char> meshUsed(scene.meshes.size()), materialUsed(scene.materials.size()),
        nodeUsed(scene.nodes.size());
    for (const auto& node : scene.nodes) {
        for (const SceneNode* other : {node->parent, node->link})
            if (other && other != &scene.missing)
                nodeUsed[static_cast<size_t>(other->index)] = 1;
        for (const SceneNode* child : node->children)
            nodeUsed[static_cast<size_t>(child->index)] = 1;
        if (node->mesh)
            meshUsed[static_cast<size_t>(node->mesh->index)] = 1;
        if (node->material)
            materialUsed[static_cast<size_t>(node->material->index)] = 1;
    }
    std::vector<std::string> names;
    for (char used : meshUsed)
        if (!used)
            names.push_back(meshTypeName);
    for (char used : materialUsed)
        if (!used)
            names.push_back(materialTypeName);
    for (char used : nodeUsed)
        if (!used)
            names.push_back(nodeTypeName);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace qvTest
