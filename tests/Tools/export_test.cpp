// qvpacket's output for other programs: JSON that parses and holds the values the library reads,
// and the object graph as DOT that Graphviz accepts.
#include "../IO/ioFilterTestHelpers.h"
#include "../IO/ioTestHelpers.h"
#include "ioBufferedStream.h"
#include "qvOSProcess.h"
#include "qvTestEnvironment.h"
#include "qvTestScene.h"
#include "qvTestSupport.h"
#include "toolRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace {

// A strict JSON parser, enough to check the tool's output: it fails on anything RFC 8259 forbids
// that the tool could get wrong (control characters and bad escapes in strings, bare NaN, trailing
// commas, text after the document).
struct Json {
    enum Kind { Null, Bool, Number, String, Array, Object } kind = Null;
    double number = 0;
    std::string text; // String (UTF-8), Number (as written)
    std::vector<Json> items;
    std::vector<std::pair<std::string, Json>> members;

    const Json& operator[](const std::string& key) const
    {
        static const Json none;
        for (const auto& member : members)
            if (member.first == key)
                return member.second;
        return none;
    }
};

class JsonParser {
public:
    explicit JsonParser(const std::string& text) : s(text) {}
    bool parse(Json& out) { return value(out) && (blank(), at == s.size()); }

private:
    void blank() { at = std::min(s.find_first_not_of(" \n\r\t", at), s.size()); }
    // Skips blanks; takes c when it comes next.
    bool next(char c) { return blank(), at < s.size() && s[at] == c ? (++at, true) : false; }
    bool literal(const std::string& word)
    {
        return s.compare(at, word.size(), word) == 0 ? (at += word.size(), true) : false;
    }
    static void appendUtf8(std::string& out, unsigned code)
    {
        if (code < 0x80)
            out += static_cast<char>(code);
        else if (code < 0x800)
            out += {static_cast<char>(0xC0 | (code >> 6)), static_cast<char>(0x80 | (code & 0x3F))};
        else
            out += {static_cast<char>(0xE0 | (code >> 12)), static_cast<char>(0x80 | ((code >> 6) & 0x3F)),
                    static_cast<char>(0x80 | (code & 0x3F))};
    }
    bool string(std::string& out)
    {
        if (!next('"'))
            return false;
        static const std::string simple = "\"\\/bfnrt", meaning = "\"\\/\b\f\n\r\t";
        for (; at < s.size(); ++at) {
            unsigned char c = static_cast<unsigned char>(s[at]);
            if (c == '"')
                return ++at, true;
            if (c < 0x20 || (c == '\\' && ++at >= s.size()))
                return false;
            if (c != '\\') {
                out += static_cast<char>(c);
            } else if (simple.find(s[at]) != std::string::npos) {
                out += meaning[simple.find(s[at])];
            } else if (s[at] == 'u' && at + 4 < s.size()
                       && s.substr(at + 1, 4).find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
                appendUtf8(out, static_cast<unsigned>(std::strtoul(s.substr(at + 1, 4).c_str(), nullptr, 16)));
                at += 4;
            } else {
                return false;
            }
        }
        return false;
    }
    bool value(Json& out)
    {
        blank();
        if (at < s.size() && (s[at] == '{' || s[at] == '[')) {
            const bool object = s[at++] == '{';
            const char close = object ? '}' : ']';
            out.kind = object ? Json::Object : Json::Array;
            if (next(close))
                return true;
            do {
                std::string key;
                Json item;
                if ((object && (!string(key) || !next(':'))) || !value(item))
                    return false;
                if (object)
                    out.members.emplace_back(key, item);
                else
                    out.items.push_back(item);
            } while (next(','));
            return next(close);
        }
        if (at < s.size() && s[at] == '"')
            return out.kind = Json::String, string(out.text);
        if (literal("true") || literal("false"))
            return out.kind = Json::Bool, true;
        if (literal("null"))
            return true;
        size_t end = std::min(s.find_first_not_of("0123456789+-.eE", at), s.size());
        out.text = s.substr(at, end - at);
        char* stop = nullptr;
        out.number = std::strtod(out.text.c_str(), &stop);
        at = end;
        out.kind = Json::Number;
        return !out.text.empty() && *stop == '\0' && (out.text[0] == '-' || (out.text[0] >= '0' && out.text[0] <= '9'));
    }

    const std::string& s;
    size_t at = 0;
};

Json parsed(const std::string& text)
{
    Json json;
    EXPECT_TRUE(JsonParser(text).parse(json)) << text.substr(0, 2000);
    return json;
}

std::string hex(const std::string& bytes)
{
    std::string out;
    for (unsigned char c : bytes)
        out += {"0123456789abcdef"[c >> 4], "0123456789abcdef"[c & 15]};
    return out;
}

// The first chunk of a packet's values, its first item.
const Json* firstChunkItem(const Json& values)
{
    for (const Json& item : values.items)
        if (item["chunk"].kind == Json::Array && !item["chunk"].items.empty())
            return &item["chunk"].items[0];
    return nullptr;
}

} // namespace

// Every command reads every method under every filter, and the JSON holds the values the
// library reads.
TEST(QvPacketExport, EveryCommandReadsEveryMethodAndFilterAndJsonHoldsTheValuesRead)
{
    using ioTest::Filter;
    qvTest::TempDir dir;
    const qvTest::Scene scene = qvTest::makeScene({150, 4, 6, 0});
    const std::vector<std::vector<Filter>> filterSets = {
        {}, {Filter::compress}, {Filter::checksum}, {Filter::encrypt}, {Filter::checksum, Filter::compress}};
    const char* const filterNames[] = {"compress", "checksum", "encrypt"};
    const char* const methods[] = {"ascii", "binary", "ascii-debug", "binary-debug"};
    std::string path = dir.file("scene.qv");
    for (int method = 0; method < 4; ++method) {
        for (const auto& filters : filterSets) {
            SCOPED_TRACE(std::string(methods[method]) + " + " + std::to_string(filters.size()) + " filters");
            std::vector<std::string> names;
            for (Filter f : filters)
                names.push_back(filterNames[static_cast<int>(f)]);
            {
                ioBufferedStreamOutput stream;
                stream.openFile(path.c_str());
                ASSERT_EQ(qvTest::writeScene(scene, stream, static_cast<ioWriteMethod>(method),
                                             [&] { ioTest::setFilters(stream, filters, true); }), ioOk);
                ioTest::setFilters(stream, filters, false);
                stream.close();
            }
            EXPECT_EQ(qvTest::runTool({"verify", path.c_str()}).status, 0);
            qvTest::ToolRun info = qvTest::runTool({"info", path.c_str()});
            EXPECT_EQ(info.status, 0) << info.err;
            EXPECT_NE(info.out.find(std::string("(") + methods[method] + ")"), std::string::npos);
            EXPECT_NE(info.out.find(names.empty() ? "none" : names.back()), std::string::npos);
            // Every node is one packet: "<id>  scene_node  <packets>  <bytes>".
            size_t line = info.out.find("scene_node");
            ASSERT_NE(line, std::string::npos);
            EXPECT_EQ(std::atoi(info.out.c_str() + line + 11), static_cast<int>(scene.nodes.size()));

            // Debug files are decoded with types: the nodes' transforms, sub-packets, references.
            qvTest::ToolRun dump = qvTest::runTool({"dump", path.c_str()});
            EXPECT_EQ(dump.status, 0) << dump.err;
            for (const char* mark : method >= ioWriteAsciiDebug
                                        ? std::vector<const char*>{"DoubleArray[16]", "[ sub-packet", "Reference "}
                                        : std::vector<const char*>{method == ioWriteBinary ? "00000000  " : "value "})
                EXPECT_NE(dump.out.find(mark), std::string::npos) << mark;

            qvTest::ToolRun run = qvTest::runTool({"dump", "--json", path.c_str()});
            ASSERT_EQ(run.status, 0) << run.err;
            Json json = parsed(run.out);
            EXPECT_EQ(json["header"]["method"].text, methods[method]);
            std::vector<std::string> found;
            for (const Json& f : json["filters"].items)
                found.push_back(f.text);
            EXPECT_EQ(found, names);
            EXPECT_EQ(json["complete"].kind, Json::Bool);

            const std::vector<Json>& packets = json["packets"].items;
            ASSERT_FALSE(packets.empty());
            EXPECT_EQ(packets.back()["type"].text, "packetFile_EOF");
            size_t nodes = 0;
            for (const Json& packet : packets) {
                if (packet["type"].text != "scene_node")
                    continue;
                ++nodes;
                EXPECT_GT(packet["object"].number, 0);
                if (method < ioWriteAsciiDebug) {
                    EXPECT_EQ(method == ioWriteBinary ? packet["hex"].kind : packet["values"].kind,
                              method == ioWriteBinary ? Json::String : Json::Array);
                    continue;
                }
                // name, index, ...; the first chunk holds the transform.
                const std::vector<Json>& values = packet["values"].items;
                ASSERT_GE(values.size(), 2u);
                int index = static_cast<int>(values[1]["value"].number);
                ASSERT_TRUE(index >= 0 && index < static_cast<int>(scene.nodes.size()));
                const qvTest::SceneNode& node = *scene.nodes[static_cast<size_t>(index)];
                EXPECT_EQ(values[0]["type"].text, "CString");
                // Names hold any bytes: exact in "hex" when they are not UTF-8.
                if (values[0]["hex"].kind == Json::String)
                    EXPECT_EQ(values[0]["hex"].text, hex(node.name));
                else
                    EXPECT_EQ(values[0]["value"].text, node.name);
                const Json* transform = firstChunkItem(packet["values"]);
                ASSERT_TRUE(transform);
                EXPECT_EQ((*transform)["type"].text, "DoubleArray");
                ASSERT_EQ((*transform)["values"].items.size(), 16u);
                for (size_t i = 0; i < 16; ++i)
                    EXPECT_EQ((*transform)["values"].items[i].number, node.transform[i]) << node.name << " " << i;
            }
            EXPECT_EQ(nodes, scene.nodes.size());
        }
    }

    // Text that is not UTF-8 still gives valid JSON: each bad byte becomes U+FFFD and the exact
    // bytes come beside it; well-formed UTF-8 and escapes pass through.
    const std::string odd = std::string("a\x01\"\\\n\xff\xc3\xa9 z\xe2\x82", 12);
    ioTest::TestRegistry registry(false);
    ioTest::writeMethodFile(path, registry, ioWriteAsciiDebug,
                            [&](ioWriteContext& ctx) { ctx.writeCStringPacket(odd.c_str()); });
    qvTest::ToolRun run = qvTest::runTool({"dump", "--json", path.c_str()});
    ASSERT_EQ(run.status, 0) << run.err;
    Json json = parsed(run.out);
    const Json& text = json["packets"].items.at(0)["values"].items.at(0);
    EXPECT_EQ(text["value"].text, "a\x01\"\\\n\xef\xbf\xbd\xc3\xa9 z\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(text["hex"].text, "6101225c0affc3a9207ae282");
}

namespace {

// "from -> to" pairs of a DOT graph, by the quoted name on each node's label.
std::vector<std::pair<std::string, std::string>> namedEdges(const std::string& dot)
{
    std::map<std::string, std::string> names;
    std::vector<std::pair<std::string, std::string>> edges;
    size_t start = 0;
    for (size_t end; (end = dot.find('\n', start)) != std::string::npos; start = end + 1) {
        std::string line = dot.substr(start, end - start);
        size_t arrow = line.find(" -> ");
        size_t label = line.find("\\n\\\"");
        if (arrow != std::string::npos) {
            std::string from = line.substr(4, arrow - 4);
            std::string to = line.substr(arrow + 4, line.size() - arrow - 5);
            edges.emplace_back(names.count(from) ? names[from] : from, names.count(to) ? names[to] : to);
        } else if (label != std::string::npos) {
            std::string id = line.substr(4, line.find(' ', 4) - 4);
            std::string name = line.substr(label + 4, line.rfind("\\\"") - label - 4);
            for (size_t q; (q = name.find("\\\"")) != std::string::npos;)
                name.erase(q, 1);
            names[id] = name;
        }
    }
    std::sort(edges.begin(), edges.end());
    return edges;
}

} // namespace

#ifdef QVBASE_SAVE_AND_LOAD // built with the examples
TEST(QvPacketExport, GraphOfTheExampleSceneHasItsReferencesAndGraphvizReadsIt)
{
    qvTest::TempDir dir;
    std::string scene = dir.file("scene.qv"), plain = dir.file("plain.qv"), svg = dir.file("scene.svg");
    qvOS::ProcessManager* processes = qvOS::ProcessManager::getInstance();
    int code = -1;
    ASSERT_FALSE(processes->runProcess({QVBASE_SAVE_AND_LOAD, "binary-debug", scene.c_str()}, code));
    ASSERT_EQ(code, 0);
    ASSERT_FALSE(processes->runProcess({QVBASE_SAVE_AND_LOAD, "binary", plain.c_str()}, code));

    qvTest::ToolRun run = qvTest::runTool({"graph", scene.c_str()});
    ASSERT_EQ(run.status, 0) << run.err;
    // What the example writes: each node's parent, mesh, material and children.
    const std::string paint = "red \"glossy\" {paint}";
    std::vector<std::pair<std::string, std::string>> expected = {
        {"root", "table"}, {"root", "lamp"}, {"root", "floor"},
        {"table", "root"}, {"table", "plane"}, {"table", "brushed metal"},
        {"lamp", "root"}, {"lamp", "teapot"}, {"lamp", "lamp shade"}, {"lamp", "bulb"},
        {"lamp shade", "lamp"}, {"lamp shade", "cube"}, {"lamp shade", paint},
        {"bulb", "lamp"}, {"bulb", "plane"},
        {"floor", "root"}, {"floor", "teapot"}, {"floor", "brushed metal"}};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(namedEdges(run.out), expected) << run.out;

    // Plain files record no references.
    qvTest::ToolRun refused = qvTest::runTool({"graph", plain.c_str()});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("plain binary"), std::string::npos);

    // Graphviz draws it; without Graphviz the tool says how to get it.
    qvString::CString dot;
    if (!processes->findProgram("dot", dot)) {
        qvTest::ToolRun drawn = qvTest::runTool({"graph", scene.c_str(), "--svg", svg.c_str()});
        EXPECT_EQ(drawn.status, 0) << drawn.err;
        EXPECT_NE(qvTest::readFileBytes(svg).find("<svg"), std::string::npos);
        EXPECT_NE(qvTest::readFileBytes(svg).find("lamp shade"), std::string::npos);
    } else if (QVBASE_EXPECT_GRAPHVIZ) {
        ADD_FAILURE() << "Graphviz's dot is not installed: the drawing is not checked";
    }
    qvTest::ScopedEnvironment noPath("PATH", dir.path().c_str());
    qvTest::ToolRun missing = qvTest::runTool({"graph", scene.c_str(), "--svg", svg.c_str()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("apt-get install graphviz"), std::string::npos) << missing.err;
}
#endif
