// save_and_load: saves a small scene to a packet file and loads it back.
//
//     save_and_load METHOD FILE      (METHOD: ascii, binary, ascii-debug or binary-debug)
//
// The scene has meshes, materials and nodes. Nodes refer to their material (written before
// them), their mesh (written after them), their parent and their children, so the file holds
// references in both directions. The program writes the header and the registry, checksums and
// compresses everything after the registry, reads the file into a new scene (the reader finds
// the filters by itself), prints a summary and exits with 0 when the loaded scene equals the
// saved one.
#include "ioBufferedStream.h"
#include "ioContext.h"
#include "ioPacketRegistry.h"
#include "ioPacketType.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

// ---- The host's objects

struct Mesh {
    std::string name;
    std::vector<float> points;  // x, y, z per vertex
    std::vector<int> triangles; // three vertex indices per triangle
};

struct Material {
    std::string name;
    double color[3] = {0, 0, 0};
    float roughness = 0;
};

struct Node {
    std::string name;
    double position[3] = {0, 0, 0};
    Node* parent = nullptr;
    Mesh* mesh = nullptr;
    Material* material = nullptr;
    std::vector<Node*> children;
};

struct Scene {
    std::vector<std::unique_ptr<Mesh>> meshes;
    std::vector<std::unique_ptr<Material>> materials;
    std::vector<std::unique_ptr<Node>> nodes;
};

Scene makeScene()
{
    Scene scene;
    const char* meshNames[] = {"cube", "plane", "teapot"};
    for (int i = 0; i < 3; ++i) {
        auto mesh = std::make_unique<Mesh>();
        mesh->name = meshNames[i];
        for (int v = 0; v < 4 + 2 * i; ++v)
            mesh->points.insert(mesh->points.end(), {0.5f * v, 1.25f * i, -0.75f * v});
        for (int t = 0; t < 2 + i; ++t)
            mesh->triangles.insert(mesh->triangles.end(), {0, t + 1, t + 2});
        scene.meshes.push_back(std::move(mesh));
    }
    scene.materials.push_back(std::make_unique<Material>(Material{"brushed metal", {0.8, 0.8, 0.85}, 0.3f}));
    // Names may hold any character; the ASCII method escapes what it must.
    scene.materials.push_back(std::make_unique<Material>(Material{"red \"glossy\" {paint}", {0.9, 0.1, 0.1}, 0.05f}));

    // A root with two children, the second of which has children of its own.
    const char* nodeNames[] = {"root", "table", "lamp", "lamp shade", "bulb", "floor"};
    const int parents[] = {-1, 0, 0, 2, 2, 0};
    for (int i = 0; i < 6; ++i) {
        auto node = std::make_unique<Node>();
        node->name = nodeNames[i];
        node->position[0] = i;
        node->position[1] = 0.5 * i;
        node->position[2] = -2.0;
        if (parents[i] >= 0) {
            node->parent = scene.nodes[static_cast<size_t>(parents[i])].get();
            node->parent->children.push_back(node.get());
        }
        if (i > 0)
            node->mesh = scene.meshes[static_cast<size_t>(i % 3)].get();
        if (i % 2 == 1)
            node->material = scene.materials[static_cast<size_t>(i / 2 % 2)].get();
        scene.nodes.push_back(std::move(node));
    }
    return scene;
}

// ---- Packet types: one per kind of object. write() is ours; read() is called by readFile.

// While loading, the types build their objects into this scene and count what the reader
// reports at the end of the file.
struct LoadTarget {
    Scene* scene = nullptr;
    int unresolved = 0; // references whose object never came
};

// A reader must not trust counts from a file: a damaged count must not make it allocate
// gigabytes. Stops the file with ioBadData instead.
int readCount(ioReadContext& ctx, int limit)
{
    int count = ctx.readInt();
    if (count < 0 || count > limit) {
        ctx.setStatus(ioBadData);
        return 0;
    }
    return count;
}

std::string readText(ioReadContext& ctx)
{
    const char* text = ctx.readCString(); // owned by the reader until the next string
    return text ? text : "";
}

class SceneType : public ioPacketType {
public:
    SceneType(const char* name, LoadTarget* target) : ioPacketType(name), target(target) {}

    // A reference that pointed to an object the file never held: the slot stays null.
    void hasUnresolvedPointer(ioClientReadContext&, void*, int) override { ++target->unresolved; }

protected:
    LoadTarget* target; // null in the registry used for saving
};

class MeshType : public SceneType {
public:
    explicit MeshType(LoadTarget* target) : SceneType("mesh", target) {}

    static void write(ioWriteContext& ctx, ioPacketType* type, const Mesh& mesh)
    {
        ctx.startPacket(type, &mesh); // the mesh becomes a reference target
        ctx.writeCString(mesh.name.c_str());
        ctx.writeInt(static_cast<int>(mesh.points.size()));
        ctx.writeFloatArray(mesh.points.data(), static_cast<int>(mesh.points.size()));
        ctx.writeInt(static_cast<int>(mesh.triangles.size()));
        ctx.writeIntArray(mesh.triangles.data(), static_cast<int>(mesh.triangles.size()));
        ctx.endPacket();
    }

    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        auto mesh = std::make_unique<Mesh>();
        ctx.definePacketReference(mesh.get()); // fills every slot waiting for this mesh
        mesh->name = readText(ctx);
        mesh->points.resize(static_cast<size_t>(readCount(ctx, 1 << 24)));
        ctx.readFloatArray(mesh->points.data(), static_cast<int>(mesh->points.size()));
        mesh->triangles.resize(static_cast<size_t>(readCount(ctx, 1 << 24)));
        ctx.readIntArray(mesh->triangles.data(), static_cast<int>(mesh->triangles.size()));
        target->scene->meshes.push_back(std::move(mesh));
    }
};

class MaterialType : public SceneType {
public:
    explicit MaterialType(LoadTarget* target) : SceneType("material", target) {}

    static void write(ioWriteContext& ctx, ioPacketType* type, const Material& material)
    {
        ctx.startPacket(type, &material);
        ctx.writeCString(material.name.c_str());
        ctx.writeDoubleArray(material.color, 3);
        ctx.writeFloat(material.roughness);
        ctx.endPacket();
    }

    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        auto material = std::make_unique<Material>();
        ctx.definePacketReference(material.get());
        material->name = readText(ctx);
        ctx.readDoubleArray(material->color, 3);
        material->roughness = ctx.readFloat();
        target->scene->materials.push_back(std::move(material));
    }
};

class NodeType : public SceneType {
public:
    explicit NodeType(LoadTarget* target) : SceneType("node", target) {}

    // References are numbers: writeReference gives an object its number on first sight, whether
    // its packet was written already (backward) or comes later (forward). Null writes 0.
    static void write(ioWriteContext& ctx, ioPacketType* type, const Node& node)
    {
        ctx.startPacket(type, &node);
        ctx.writeCString(node.name.c_str());
        ctx.writeDoubleArray(node.position, 3);
        ctx.writeReference(node.parent, false);
        ctx.writeReference(node.mesh, false);
        ctx.writeReference(node.material, false);
        ctx.writeInt(static_cast<int>(node.children.size()));
        // The children in a sub-packet: a reader that does not know them can skip it whole.
        ctx.startSubPacket();
        for (const Node* child : node.children)
            ctx.writeReference(child, false);
        ctx.endSubPacket();
        ctx.endPacket();
    }

    void read(ioClientReadContext& client) override
    {
        ioReadContext& ctx = client.context();
        auto node = std::make_unique<Node>();
        ctx.definePacketReference(node.get());
        node->name = readText(ctx);
        ctx.readDoubleArray(node->position, 3);
        // Each slot is filled now when its object was read already, else when it is defined;
        // the second argument comes back to hasUnresolvedPointer if it never is.
        ctx.readReferenceUsage(&node->parent, 0);
        ctx.readReferenceUsage(&node->mesh, 1);
        ctx.readReferenceUsage(&node->material, 2);
        node->children.resize(static_cast<size_t>(readCount(ctx, 1 << 20)));
        ctx.startSubPacket();
        for (Node*& child : node->children)
            ctx.readReferenceUsage(&child, 3);
        ctx.endSubPacket();
        target->scene->nodes.push_back(std::move(node));
    }
};

// The registry lists the types by name in every file; readers match them by name, so a type
// can be added later without breaking old files. It owns the types it is given.
class SceneRegistry : public ioPacketRegistry {
public:
    SceneRegistry(bool reading, LoadTarget* target) : ioPacketRegistry(reading), target(target) {}

protected:
    void registerTypes() override
    {
        supportedType(new MeshType(target));
        supportedType(new MaterialType(target));
        supportedType(new NodeType(target));
    }

private:
    LoadTarget* target;
};

// ---- Saving and loading

struct SaveResult {
    bool ok = false;
    int references = 0;        // non-null references written
    int forwardReferences = 0; // of which to objects whose packet came later
};

int countReferences(const Scene& scene)
{
    int count = 0;
    for (const auto& node : scene.nodes)
        count += (node->parent != nullptr) + (node->mesh != nullptr) + (node->material != nullptr)
                 + static_cast<int>(node->children.size());
    return count;
}

SaveResult save(const Scene& scene, const char* path, ioWriteMethod method)
{
    SaveResult result;
    // The new file replaces the old one only at a successful close(): a crash, a full disk or a
    // failed write leaves the previous save as it was.
    ioBufferedStreamOutput out;
    out.openFileReplacing(path);
    if (!out.good()) {
        std::fprintf(stderr, "save_and_load: cannot create %s\n", path);
        return result;
    }
    SceneRegistry registry(false, nullptr);
    std::unique_ptr<ioWriteContext> ctx(ioWriteContextAlloc(out, method, &registry));
    ctx->startFile(); // the header and the registry, always plain text
    // Filters go on after the registry, so any reader can see what the file holds before it
    // knows about them: checksum blocks around the compressed bytes. The reader pushes the same
    // filters at the same point (detectFilters() finds them).
    out.checksum(true);
    out.compress(true);

    ioPacketType* meshType = registry.lookup("mesh");
    ioPacketType* materialType = registry.lookup("material");
    ioPacketType* nodeType = registry.lookup("node");
    // Materials first, then nodes, then meshes: nodes refer back to materials and forward to
    // meshes; parents and children point both ways.
    for (const auto& material : scene.materials)
        MaterialType::write(*ctx, materialType, *material);
    for (const auto& node : scene.nodes) {
        for (const void* target : {static_cast<const void*>(node->parent),
                                   static_cast<const void*>(node->mesh),
                                   static_cast<const void*>(node->material)})
            result.forwardReferences += target && !ctx->isReferenceDefined(target);
        for (const Node* child : node->children)
            result.forwardReferences += !ctx->isReferenceDefined(child);
        NodeType::write(*ctx, nodeType, *node);
    }
    for (const auto& mesh : scene.meshes)
        MeshType::write(*ctx, meshType, *mesh);
    ctx->endFile(); // the end-of-file packet

    out.compress(false); // ends the compressed section, then the last checksum block
    out.checksum(false);
    // Only close() completes the file; a stream destroyed without it abandons the new file.
    if (ctx->getStatus() == ioOk)
        out.close();
    if (ctx->getStatus() != ioOk || !out.good()) {
        std::fprintf(stderr, "save_and_load: writing %s failed (context: %s, stream: %s)\n", path,
                     ioStatusName(ctx->getStatus()), ioStreamStatusName(out.getStatus()));
        return result;
    }
    result.ok = true;
    result.references = countReferences(scene);
    return result;
}

bool load(Scene& scene, const char* path, int& unresolved)
{
    ioBufferedStreamInput in;
    in.openFile(path);
    if (!in.good()) {
        std::fprintf(stderr, "save_and_load: cannot open %s\n", path);
        return false;
    }
    LoadTarget target;
    target.scene = &scene;
    SceneRegistry registry(true, &target);
    // The header names the method; the returned reader decodes it (null: not a packet file).
    std::unique_ptr<ioReadContext> ctx(ioReadContextAlloc(in, &registry));
    if (!ctx) {
        in.close();
        return false;
    }
    ioClientReadContext client(*ctx);
    // Reads the registry and pushes the filters the writer put behind it (here a checksum and
    // compression); a reader that knows them may push them itself after readRegistry().
    ctx->detectFilters();
    ctx->readFile(client);
    in.close();
    unresolved = target.unresolved;
    if (ctx->getStatus() != ioOk) {
        std::fprintf(stderr, "save_and_load: reading %s failed (%s, status %d)\n", path,
                     ioStatusName(ctx->getStatus()), ctx->getStatus());
        return false;
    }
    return true;
}

// ---- Comparing: references are compared by the position of their targets.

template <typename T>
int indexOf(const std::vector<std::unique_ptr<T>>& objects, const T* object)
{
    for (size_t i = 0; i < objects.size(); ++i)
        if (objects[i].get() == object)
            return static_cast<int>(i);
    return -1;
}

bool sameScene(const Scene& a, const Scene& b)
{
    if (a.meshes.size() != b.meshes.size() || a.materials.size() != b.materials.size()
        || a.nodes.size() != b.nodes.size())
        return false;
    for (size_t i = 0; i < a.meshes.size(); ++i) {
        const Mesh& x = *a.meshes[i];
        const Mesh& y = *b.meshes[i];
        if (x.name != y.name || x.points != y.points || x.triangles != y.triangles)
            return false;
    }
    for (size_t i = 0; i < a.materials.size(); ++i) {
        const Material& x = *a.materials[i];
        const Material& y = *b.materials[i];
        if (x.name != y.name || std::memcmp(x.color, y.color, sizeof x.color) != 0
            || x.roughness != y.roughness)
            return false;
    }
    for (size_t i = 0; i < a.nodes.size(); ++i) {
        const Node& x = *a.nodes[i];
        const Node& y = *b.nodes[i];
        if (x.name != y.name || std::memcmp(x.position, y.position, sizeof x.position) != 0
            || indexOf(a.nodes, x.parent) != indexOf(b.nodes, y.parent)
            || indexOf(a.meshes, x.mesh) != indexOf(b.meshes, y.mesh)
            || indexOf(a.materials, x.material) != indexOf(b.materials, y.material)
            || x.children.size() != y.children.size())
            return false;
        for (size_t c = 0; c < x.children.size(); ++c)
            if (indexOf(a.nodes, x.children[c]) != indexOf(b.nodes, y.children[c]))
                return false;
    }
    return true;
}

bool parseMethod(const char* name, ioWriteMethod& method)
{
    const struct {
        const char* name;
        ioWriteMethod method;
    } methods[] = {{"ascii", ioWriteAscii},
                   {"binary", ioWriteBinary},
                   {"ascii-debug", ioWriteAsciiDebug},
                   {"binary-debug", ioWriteBinaryDebug}};
    for (const auto& entry : methods) {
        if (std::strcmp(name, entry.name) == 0) {
            method = entry.method;
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    ioWriteMethod method = ioWriteBinary;
    if (argc != 3 || !parseMethod(argv[1], method)) {
        std::fprintf(stderr, "usage: save_and_load ascii|binary|ascii-debug|binary-debug FILE\n");
        return 2;
    }
    const char* path = argv[2];

    const Scene original = makeScene();
    const SaveResult saved = save(original, path, method);
    if (!saved.ok)
        return 1;

    Scene loaded;
    int unresolved = 0;
    if (!load(loaded, path, unresolved))
        return 1;

    const bool equal = sameScene(original, loaded);
    const int resolved = countReferences(loaded);
    std::printf("%s: %s, %d bytes on disk\n", path, argv[1], ioBufferedStream::fileSize(path));
    std::printf("  loaded %zu meshes, %zu materials, %zu nodes\n", loaded.meshes.size(),
                loaded.materials.size(), loaded.nodes.size());
    std::printf("  references: %d of %d resolved (%d written forward), %d unresolved\n", resolved,
                saved.references, saved.forwardReferences, unresolved);
    std::printf("  loaded scene %s the saved one\n", equal ? "equals" : "DIFFERS FROM");
    return equal && unresolved == 0 ? 0 : 1;
}
