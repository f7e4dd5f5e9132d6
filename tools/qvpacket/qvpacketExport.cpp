// Output for other programs: the whole file as one JSON document, and the object graph of a
// type-checked file as Graphviz DOT (and SVG through Graphviz's dot).
#include "qvpacketCommands.h"

#include "qvpacketDecode.h"
#include "qvpacketFile.h"

#include "ioPacketFileDebug.h"
#include "qvOSProcess.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

namespace qvPacket {

namespace {

// ---- JSON

// The length of the well-formed UTF-8 sequence at text[at], or 0 when the bytes there are not one.
size_t utf8Sequence(const std::string& text, size_t at)
{
    unsigned char c = static_cast<unsigned char>(text[at]);
    if (c < 0x80)
        return 1;
    size_t length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 0;
    if (length == 0 || c > 0xF4 || at + length > text.size())
        return 0;
    unsigned code = c & (0x3F >> (length - 1));
    for (size_t i = 1; i < length; ++i) {
        unsigned char next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80)
            return 0;
        code = (code << 6) | (next & 0x3F);
    }
    bool overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return overlong || surrogate || code > 0x10FFFF ? 0 : length;
}

// A JSON string of text: control characters escaped, each byte that is not part of well-formed
// UTF-8 replaced by U+FFFD. valid tells whether anything was replaced.
std::string jsonString(const std::string& text, bool* valid = nullptr)
{
    std::string out = "\"";
    bool clean = true;
    for (size_t at = 0; at < text.size();) {
        char c = text[at];
        size_t length = utf8Sequence(text, at);
        if (length == 0) {
            out += "\\ufffd";
            clean = false;
            ++at;
            continue;
        }
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
            out += code;
        } else {
            out.append(text, at, length);
        }
        at += length;
    }
    if (valid)
        *valid = clean;
    return out + "\"";
}

std::string hexBytes(const char* bytes, size_t size)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        unsigned char c = static_cast<unsigned char>(bytes[i]);
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

// Numbers as JSON numbers; reals that JSON cannot hold as the strings "nan", "inf", "-inf".
std::string jsonNumber(char tag, const Number& number)
{
    if (isRealTag(tag)) {
        if (std::isnan(number.d))
            return "\"nan\"";
        if (std::isinf(number.d))
            return number.d > 0 ? "\"inf\"" : "\"-inf\"";
        char text[40];
        std::snprintf(text, sizeof text, tag == 'f' ? "%.9g" : "%.17g", number.d);
        return text;
    }
    if (tag == 'L')
        return std::to_string(static_cast<unsigned long long>(number.i));
    return std::to_string(static_cast<long long>(number.i));
}

std::string jsonItems(const std::vector<Item>& items, size_t from);

std::string jsonItem(const Item& item)
{
    switch (item.kind) {
    case Item::Value:
        return std::string("{\"type\": \"") + ioDebugTagName(item.tag) + "\", \"value\": " +
               jsonNumber(item.tag, item.numbers[0]) + "}";
    case Item::Reference:
        return "{\"ref\": " + jsonNumber('I', item.numbers[0]) + "}";
    case Item::String: {
        bool valid = true;
        std::string text = "{\"type\": \"" + std::string(item.tag ? "CString" : "string") +
                           "\", \"value\": " + jsonString(item.text, &valid);
        if (!valid)
            text += ", \"hex\": \"" + hexBytes(item.text.data(), item.text.size()) + "\"";
        return text + "}";
    }
    case Item::Token:
        return "{\"token\": " + jsonString(item.text) + "}";
    case Item::Array: {
        std::string text = std::string("{\"type\": \"") + ioDebugTagName(item.tag) + "\", \"values\": [";
        char element = elementTag(item.tag);
        for (size_t i = 0; i < item.numbers.size(); ++i)
            text += (i ? ", " : "") + jsonNumber(element, item.numbers[i]);
        return text + "]}";
    }
    case Item::SubPacket:
        return "{\"subPacket\": " + jsonItems(item.items, 0) + "}";
    case Item::Chunk:
        return "{\"chunk\": " + jsonItems(item.items, 0) + "}";
    }
    return "null";
}

std::string jsonItems(const std::vector<Item>& items, size_t from)
{
    std::string text = "[";
    for (size_t i = from; i < items.size(); ++i)
        text += (i > from ? ", " : "") + jsonItem(items[i]);
    return text + "]";
}

// The reference number a packet defines: the first value of its body (a reference in
// type-checked files, a token in plain ASCII, four bytes in plain binary).
long long packetReference(const PacketFile& file, const Packet& packet, const std::vector<Item>& items)
{
    if (!packet.hasObject)
        return 0;
    if (!file.isAscii() && !file.isDebug()) {
        if (packet.bodySize < 4)
            return 0;
        const unsigned char* b = reinterpret_cast<const unsigned char*>(packet.body);
        uint32_t v = file.swapped() ? (uint32_t(b[0]) << 24) | (uint32_t(b[1]) << 16) | (uint32_t(b[2]) << 8) | b[3]
                                    : (uint32_t(b[3]) << 24) | (uint32_t(b[2]) << 16) | (uint32_t(b[1]) << 8) | b[0];
        return v;
    }
    if (items.empty())
        return 0;
    if (items[0].kind == Item::Reference)
        return items[0].numbers[0].i;
    if (items[0].kind == Item::Token)
        return std::atoll(items[0].text.c_str());
    return 0;
}

// ---- graph

struct GraphNode {
    std::string id;
    std::string label;
    bool referenced = false;
};

struct Edge {
    std::string from;
    long long to;
};

// The first string of a packet (looking into sub-packets and chunks too), or null.
const Item* firstString(const std::vector<Item>& items)
{
    for (const Item& item : items) {
        if (item.kind == Item::String)
            return &item;
        if (item.kind == Item::SubPacket || item.kind == Item::Chunk)
            if (const Item* inner = firstString(item.items))
                return inner;
    }
    return nullptr;
}

void collectReferences(const std::vector<Item>& items, size_t from, const std::string& node, std::vector<Edge>& edges)
{
    for (size_t i = from; i < items.size(); ++i) {
        const Item& item = items[i];
        if (item.kind == Item::Reference && item.numbers[0].i != 0)
            edges.push_back({node, item.numbers[0].i});
        else if (item.kind == Item::SubPacket || item.kind == Item::Chunk)
            collectReferences(item.items, 0, node, edges);
    }
}

// A DOT string: quotes and backslashes escaped, other bytes outside printable ASCII as '?',
// long texts cut.
std::string dotString(const std::string& text)
{
    std::string out;
    for (char c : text) {
        unsigned char u = static_cast<unsigned char>(c);
        if (out.size() >= 40) {
            out += "...";
            break;
        }
        if (c == '"' || c == '\\')
            out += '\\';
        out += u >= 0x20 && u < 0x7F ? c : '?';
    }
    return out;
}

std::string graphText(const std::string& path, PacketFile& file, bool& intact)
{
    std::vector<GraphNode> nodes;
    std::map<long long, size_t> defined; // reference number -> node
    std::vector<Edge> edges;
    Packet packet;
    std::vector<Item> items;
    intact = true;
    while (file.next(packet)) {
        if (!file.decode(packet, items)) {
            intact = false;
            break;
        }
        long long number = packetReference(file, packet, items);
        GraphNode node;
        node.id = number ? "o" + std::to_string(number) : "p" + std::to_string(packet.index);
        node.label = dotString(packet.typeName) + (number ? " #" + std::to_string(number) : " (no object)");
        if (const Item* name = firstString(items))
            node.label += "\\n\\\"" + dotString(name->text) + "\\\"";
        if (number)
            defined[number] = nodes.size();
        collectReferences(items, packet.hasObject ? 1 : 0, node.id, edges);
        nodes.push_back(node);
    }
    if (!file.atEnd())
        intact = false;

    std::set<long long> missing;
    for (const Edge& edge : edges) {
        auto target = defined.find(edge.to);
        if (target == defined.end())
            missing.insert(edge.to);
        else
            nodes[target->second].referenced = true;
    }
    std::string dot = "digraph packets {\n";
    dot += "    graph [rankdir=LR, fontname=\"Helvetica\", label=\"" + dotString(path) + " (" +
           methodName(file.method()) + "): double border = root (nothing refers to it)\"];\n";
    dot += "    node [shape=box, style=rounded, fontname=\"Helvetica\"];\n";
    for (const GraphNode& node : nodes)
        dot += "    " + node.id + " [label=\"" + node.label + "\"" +
               (node.referenced ? "" : ", peripheries=2, root=true") + "];\n";
    for (long long number : missing)
        dot += "    m" + std::to_string(number) + " [label=\"missing #" + std::to_string(number) +
               "\", style=\"dashed\", color=red, fontcolor=red];\n";
    for (const Edge& edge : edges)
        dot += "    " + edge.from + " -> " + (defined.count(edge.to) ? "o" : "m") + std::to_string(edge.to) + ";\n";
    return dot + "}\n";
}

bool writeFile(const std::string& path, const std::string& text)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    bool ok = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && ok;
}

// Runs Graphviz's dot on the DOT text; false with a message on err when it cannot.
bool renderSvg(const std::string& dot, const std::string& svg, std::FILE* err)
{
    qvOS::ProcessManager* processes = qvOS::ProcessManager::getInstance();
    qvString::CString program;
    if (processes->findProgram("dot", program)) {
        std::fprintf(err, "qvpacket: graph: Graphviz's 'dot' program is not on the PATH, so no SVG was made. "
                          "Install Graphviz (Debian and Ubuntu: apt-get install graphviz; "
                          "https://graphviz.org/download/), or write the DOT text with "
                          "'qvpacket graph FILE > graph.dot' and render it elsewhere.\n");
        return false;
    }
    std::string dotPath = svg + ".dot";
    if (!writeFile(dotPath, dot)) {
        std::fprintf(err, "qvpacket: graph: cannot write %s\n", dotPath.c_str());
        return false;
    }
    int code = -1;
    qvUtil::Error error = processes->runProcess({program, "-Tsvg", "-o", svg.c_str(), dotPath.c_str()}, code);
    std::remove(dotPath.c_str());
    if (error || code != 0) {
        std::fprintf(err, "qvpacket: graph: dot failed (%s)\n",
                     error ? error.message() : ("exit status " + std::to_string(code)).c_str());
        return false;
    }
    return true;
}

} // namespace

int dumpJson(const std::string& path, std::FILE* out, std::FILE* err)
{
    PacketFile file;
    if (!opened(file, path, nullptr, err))
        return 1;
    std::string json = "{\n  \"file\": " + jsonString(path) + ",\n  \"size\": " + std::to_string(file.fileSize()) + ",\n";
    json += "  \"header\": {\"version\": " + std::to_string(file.version()) + ", \"byteOrder\": \"" +
            (file.littleEndian() ? "little-endian" : "big-endian") + "\", \"method\": \"" +
            methodName(file.method()) + "\", \"methodNumber\": " + std::to_string(file.method()) +
            ", \"readMethod\": " + std::to_string(static_cast<int>(file.readMethod())) +
            ", \"typeChecked\": " + (file.isDebug() ? "true" : "false") + "},\n";
    json += "  \"registry\": [";
    for (size_t id = 0; id < file.typeNames().size(); ++id)
        json += std::string(id ? ", " : "") + "{\"id\": " + std::to_string(id) +
                ", \"name\": " + jsonString(file.typeNames()[id]) + "}";
    json += "],\n  \"filters\": [";
    for (size_t i = 0; i < file.filters().size(); ++i)
        json += (i ? ", " : "") + jsonString(file.filters()[i]);
    json += "],\n  \"packets\": [";

    bool plainBinary = !file.isAscii() && !file.isDebug();
    Packet packet;
    std::vector<Item> items;
    bool first = true;
    for (;;) {
        bool more = file.next(packet);
        if (!more && !file.atEnd())
            break;
        if (!plainBinary && !file.decode(packet, items))
            break;
        long long number = packetReference(file, packet, items);
        json += std::string(first ? "\n" : ",\n") + "    {\"index\": " + std::to_string(packet.index) +
                ", \"type\": " + jsonString(packet.typeName) + ", \"typeId\": " + std::to_string(packet.typeId) +
                ", \"offset\": " + std::to_string(packet.offset) + ", \"size\": " + std::to_string(packet.size) +
                ", \"object\": " + (packet.hasObject ? std::to_string(number) : "null") + ", ";
        if (plainBinary)
            json += "\"hex\": \"" + hexBytes(packet.body, static_cast<size_t>(packet.bodySize)) + "\"}";
        else
            json += "\"values\": " + jsonItems(items, packet.hasObject ? 1 : 0) + "}";
        first = false;
        if (!more)
            break;
    }
    json += "\n  ],\n";
    const Problem& problem = file.problem();
    if (problem.found)
        json += "  \"complete\": false,\n  \"problem\": {\"offset\": " + std::to_string(problem.offset) +
                ", \"what\": " + jsonString(problem.what) + "}\n}\n";
    else
        json += "  \"complete\": true\n}\n";
    std::fputs(json.c_str(), out);
    return problem.found ? reportProblem(path, file, err) : 0;
}

int graph(const std::string& path, const std::string& svg, std::FILE* out, std::FILE* err)
{
    PacketFile file;
    if (!opened(file, path, nullptr, err))
        return 1;
    if (!file.isDebug()) {
        std::fprintf(err,
                     "qvpacket: graph: %s was written with the plain %s method, which does not record "
                     "which values are references, so its graph cannot be drawn. Save it with ascii-debug "
                     "or binary-debug from the program that wrote it.\n",
                     path.c_str(), methodName(file.method()));
        return 1;
    }
    bool intact = true;
    std::string dot = graphText(path, file, intact);
    if (!intact)
        return reportProblem(path, file, err);
    if (svg.empty()) {
        std::fputs(dot.c_str(), out);
        return 0;
    }
    return renderSvg(dot, svg, err) ? 0 : 1;
}

} // namespace qvPacket
