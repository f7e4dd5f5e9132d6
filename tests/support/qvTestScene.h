#ifndef QVTEST_SCENE_H
#define QVTEST_SCENE_H

// A realistic object graph for packet-file tests and benchmarks: meshes with arrays of every
// value type, materials with nested sub-packets and chunks and a description string packet, and
// named nodes that refer to each other (parents, children, links with forward references and
// cycles). One scene can be written with any write method and read back by any reader, then
// compared object by object.
//
//     qvTest::Scene scene = qvTest::makeScene({3000, 7});
//     qvTest::writeSceneFile(scene, path, ioWriteAscii);
//     qvTest::Scene copy;
//     qvTest::SceneReadResult result = qvTest::readSceneFile(copy, path);
//     EXPECT_EQ(qvTest::compareScenes(scene, copy), "");

#include "ioContext.h"
#include "ioHeader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class ioBufferedStreamInput;
class ioBufferedStreamOutput;

namespace qvTest {

struct SceneMesh {
    std::string name;
    int index = 0; // position in Scene::meshes
    std::vector<char> flags; // written as a bool array (0 or 1)
    std::vector<char> chars;
    std::vector<unsigned char> bytes;
    std::vector<short> shorts;
    std::vector<unsigned short> ushorts;
    std::vector<int> indices;
    std::vector<unsigned int> uints;
    std::vector<int64_t> ids;
    std::vector<uint64_t> uids;
    std::vector<float> positions;
    std::vector<double> weights;
};

struct SceneLayer {
    std::string name;
    int blend = 0;
    std::vector<float> values;
};

struct SceneMaterial {
    std::string name;
    int index = 0; // position in Scene::materials
    std::string description; // travels as a "packetFile_string" packet
    double color[3] = {0, 0, 0};
    float shininess = 0;
    std::vector<SceneLayer> layers; // a sub-packet of nested sub-packets with chunks
};

struct SceneNode {
    std::string name;
    int index = 0; // position in Scene::nodes
    bool visible = true;
    char kind = 0;
    SceneNode* parent = nullptr;
    SceneNode* link = nullptr; // any node, often one written later; links form cycles
    SceneMesh* mesh = nullptr;
    SceneMaterial* material = nullptr;
    std::vector<SceneNode*> children;
    double transform[16] = {};
    float bounds[6] = {};
};

struct Scene {
    std::vector<std::unique_ptr<SceneMesh>> meshes;
    std::vector<std::unique_ptr<SceneMaterial>> materials;
    std::vector<std::unique_ptr<SceneNode>> nodes;
    // Stand-in that some links point to when the scene is made with dangling references: it is
    // never written, so readers see an unresolved reference and a null pointer.
    SceneNode missing;
};

struct SceneOptions {
    int objects = 3000;   // meshes, materials and nodes together
    unsigned seed = 1;
    int arrayLength = 12; // elements per mesh array (on average)
    int dangling = 0;     // links to `missing`: unresolved references on reading
};

// Values are chosen so that every encoding gives them back exactly (numbers whose shortest
// "%.16g"/"%.7g" text converts back to the same value).
Scene makeScene(const SceneOptions& options);

// One object of a scene, in the order writeScene writes them.
struct SceneItem {
    enum Kind : char { mesh = 'm', material = 't', node = 'n' };
    Kind kind;
    int index; // into the scene's vector of that kind
};

// writeScene's order: nodes two by two in a shuffled order, so that many references point
// forward, each pair followed by a mesh and, after every fourth node, a material.
std::vector<SceneItem> writeOrder(const Scene& scene);

// Asks the processor for the objects a few items after `at`: the shuffled order defeats its own
// prefetching. Writers call it once per item.
void prefetchAhead(const Scene& scene, const std::vector<SceneItem>& items, size_t at);

// The whole file: header, registry, one packet per object, end-of-file packet. Returns the
// write context's final status (ioError when the method cannot be written).
// afterRegistry, when given, runs between the registry and the first packet (to push filters).
ioStatus writeScene(const Scene& scene, ioBufferedStreamOutput& stream, ioWriteMethod method,
                    const std::function<void()>& afterRegistry = {});
ioStatus writeSceneFile(const Scene& scene, const std::string& path, ioWriteMethod method);
// The same through a write context that makeContext creates over the stream (for writers
// that the allocation function does not offer, such as one that swaps bytes).
ioStatus writeScene(const Scene& scene, ioBufferedStreamOutput& stream,
                    const std::function<ioWriteContext*(ioBufferedStreamOutput&)>& makeContext,
                    const std::function<void()>& afterRegistry = {});

struct SceneReadResult {
    bool opened = false;        // the header gave a read context
    ioStatus status = ioError;  // readFile's final status
    int packetsRead = 0;
    // "<type name>" once per report, in report order.
    std::vector<std::string> unresolved;
    std::vector<std::string> unreferenced;
};

// Reads a scene file (any method the library reads) into scene, which must be empty.
// afterRegistry, when given, runs between the registry and the first packet (to push filters).
SceneReadResult readScene(Scene& scene, ioBufferedStreamInput& stream,
                          const std::function<void(ioReadContext&)>& afterRegistry = {});
SceneReadResult readSceneFile(Scene& scene, const std::string& path);

// "" when the two scenes hold the same objects, values and references; else where they first
// differ. A link to `missing` in expected matches a null link in actual.
std::string compareScenes(const Scene& expected, const Scene& actual);

// The type name of each object nobody refers to, sorted: what the reader reports as
// unreferenced at the end of a file (compare with the sorted SceneReadResult::unreferenced).
std::vector<std::string> expectedUnreferenced(const Scene& scene);

} // namespace qvTest

#endif
