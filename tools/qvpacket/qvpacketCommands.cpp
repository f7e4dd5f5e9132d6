#include "qvpacketCommands.h"

#include "qvpacketDecode.h"
#include "qvpacketFile.h"

#include "ioPacketFileDebug.h"
#include "ioPacketType.h"

#include <cstring>
#include <map>
#include <memory>

namespace qvPacket {

namespace {

const char* const toolHelp =
    "usage: qvpacket COMMAND [ARGS]\n"
    "\n"
    "Inspect, check and convert packet files.\n"
    "\n"
    "commands:\n"
    "  info FILE                       header, registry, filters, packets and bytes per type\n"
    "  dump [--json] FILE              every packet in readable form, or as JSON\n"
    "  graph FILE [--svg OUT]          the object graph of a type-checked file (Graphviz DOT)\n"
    "  verify FILE                     read the whole file; exit status 0 only when intact\n"
    "  convert IN OUT --method METHOD  rewrite a type-checked file in another method\n"
    "\n"
    "methods: ascii, binary, ascii-debug, binary-debug\n"
    "'qvpacket COMMAND --help' describes one command.\n";

const char* const infoHelp =
    "usage: qvpacket info FILE\n"
    "\n"
    "Prints the header (version, byte order, method, read method), the registry (id and name of\n"
    "each packet type), the number of packets and their bytes per type, and the filters found\n"
    "after the registry (compression, checksum blocks, encryption).\n";

const char* const dumpHelp =
    "usage: qvpacket dump FILE\n"
    "\n"
    "Prints every packet: its number, offset, type and size, then its contents. Type-checked\n"
    "files are decoded value by value with their types, ASCII files token by token; sub-packets\n"
    "([ ]) and chunks (< >) are indented. Plain binary packets are shown as bytes in hex, since\n"
    "their values carry no types.\n"
    "\n"
    "With --json: one JSON document for the whole file (header, registry, filters, then every\n"
    "packet with its type, id, offset, size, the object number it defines, and its values with\n"
    "their types; plain binary bodies as hex). Texts that are not UTF-8 are given with U+FFFD in\n"
    "place of each bad byte and, beside them, their exact bytes in hex.\n";

const char* const graphHelp =
    "usage: qvpacket graph FILE [--svg OUT]\n"
    "\n"
    "Writes the object graph of a type-checked file (ascii-debug, binary-debug) as Graphviz DOT:\n"
    "one node per packet (type, object number, first text), one edge per reference, a red dashed\n"
    "node for each number that no packet defines, and a double border on objects that nothing\n"
    "refers to (the roots). With --svg OUT, Graphviz's dot draws it into OUT. Plain files do not\n"
    "record which values are references: exit status 1.\n";

const char* const verifyHelp =
    "usage: qvpacket verify FILE\n"
    "\n"
    "Reads the whole file: header, registry, checksum blocks, compressed sections, the framing\n"
    "of every packet and, in type-checked files, every value. Prints the first problem with its\n"
    "byte offset in the file and exits with status 1; exits with 0 only for an intact file.\n";

const char* const convertHelp =
    "usage: qvpacket convert IN OUT --method ascii|binary|ascii-debug|binary-debug\n"
    "\n"
    "Rewrites a type-checked file (written with ascii-debug or binary-debug) in the given method,\n"
    "keeping its registry, the order of its packets, their references, sub-packets and chunks.\n"
    "Filters of the input are not carried over. Plain ascii and binary files record no value\n"
    "types and cannot be converted: save them again with a debug method from the program that\n"
    "wrote them.\n";

// ---- progress on a terminal

struct Progress {
    std::FILE* stream = nullptr;
    int total = 0;
    int shown = -1;
};
Progress progress;

void showProgress(int bytes)
{
    if (!progress.stream || progress.total <= 0)
        return;
    int percent = static_cast<int>(100.0 * bytes / progress.total);
    percent = percent > 100 ? 100 : percent;
    if (percent == progress.shown)
        return;
    progress.shown = percent;
    char bar[41];
    int filled = percent * 40 / 100;
    for (int i = 0; i < 40; ++i)
        bar[i] = i < filled ? '#' : '.';
    bar[40] = '\0';
    std::fprintf(progress.stream, "\r[%s] %3d%%", bar, percent);
    std::fflush(progress.stream);
}

// Files below this size are read too fast for a bar to be worth drawing.
constexpr int progressThreshold = 1 << 20;

// Draws a bar on err while a long operation reads path, when err is a terminal.
class ProgressBar {
public:
    ProgressBar(const std::string& path, std::FILE* err)
    {
        int size = ioBufferedStream::fileSize(path.c_str());
        if (err == stderr && size >= progressThreshold && isTerminal(err)) {
            progress.stream = err;
            progress.total = size;
            progress.shown = -1;
        }
    }
    ~ProgressBar()
    {
        if (progress.stream)
            std::fprintf(progress.stream, "\r%50s\r", "");
        progress = Progress();
    }
    void (*function() const)(int) { return progress.stream ? showProgress : nullptr; }
};

// ---- reports (shared with the export commands)

} // namespace

int reportProblem(const std::string& path, const PacketFile& file, std::FILE* err)
{
    const Problem& problem = file.problem();
    std::string where = (problem.near ? "near byte offset " : "byte offset ") + std::to_string(problem.offset);
    if (problem.near && !file.filters().empty())
        where += " (inside the filtered section)";
    std::fprintf(err, "qvpacket: %s: %s: %s\n", path.c_str(), where.c_str(), problem.what.c_str());
    return 1;
}

bool opened(PacketFile& file, const std::string& path, void (*progressFunction)(int), std::FILE* err)
{
    if (file.open(path, progressFunction))
        return true;
    reportProblem(path, file, err);
    return false;
}

namespace {

std::string readMethodText(const PacketFile& file)
{
    switch (file.readMethod()) {
    case ioReadBinarySameEndian: return "1 (binary, same byte order)";
    case ioReadBinarySwapped: return "2 (binary, bytes swapped)";
    case ioReadAscii: return "3 (ascii)";
    case ioReadBinaryDebugSameEndian: return "4 (binary debug, same byte order)";
    case ioReadBinaryDebugSwapped: return "5 (binary debug, bytes swapped)";
    case ioReadAsciiDebug: return "6 (ascii debug)";
    default: return "0 (unknown)";
    }
}

std::string joined(const std::vector<std::string>& parts, const char* none)
{
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text.empty() ? none : text;
}

void printHeader(const std::string& path, const PacketFile& file, std::FILE* out)
{
    std::fprintf(out, "file:        %s (%d bytes)\n", path.c_str(), file.fileSize());
    std::fprintf(out, "header:      version %d, %s, method %d (%s), read method %s\n", file.version(),
                 file.littleEndian() ? "little-endian" : "big-endian", file.method(),
                 methodName(file.method()), readMethodText(file).c_str());
    std::fprintf(out, "filters:     %s\n", joined(file.filters(), "none").c_str());
}

std::string escaped(const std::string& text)
{
    std::string out = "\"";
    for (char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
            out += code;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string numberText(char tag, const Number& number)
{
    char text[40];
    if (tag == 'f')
        std::snprintf(text, sizeof text, "%.9g", number.d);
    else if (tag == 'd')
        std::snprintf(text, sizeof text, "%.17g", number.d);
    else if (tag == 'L')
        return std::to_string(static_cast<unsigned long long>(number.i));
    else
        return std::to_string(static_cast<long long>(number.i));
    return text;
}

void printItems(std::FILE* out, const std::vector<Item>& items, int indent)
{
    std::string pad(static_cast<size_t>(indent), ' ');
    for (const Item& item : items) {
        switch (item.kind) {
        case Item::Value:
            std::fprintf(out, "%s%s %s\n", pad.c_str(), ioDebugTagName(item.tag),
                         numberText(item.tag, item.numbers[0]).c_str());
            break;
        case Item::Reference:
            std::fprintf(out, "%sReference %s\n", pad.c_str(), numberText('I', item.numbers[0]).c_str());
            break;
        case Item::String:
            std::fprintf(out, "%s%s %s\n", pad.c_str(), item.tag ? "CString" : "string",
                         escaped(item.text).c_str());
            break;
        case Item::Token:
            std::fprintf(out, "%svalue %s\n", pad.c_str(), item.text.c_str());
            break;
        case Item::Array: {
            std::fprintf(out, "%s%s[%s]", pad.c_str(), ioDebugTagName(item.tag), std::to_string(item.numbers.size()).c_str());
            char element = elementTag(item.tag);
            for (size_t i = 0; i < item.numbers.size(); ++i) {
                if (i > 0 && i % 8 == 0)
                    std::fprintf(out, "\n%s   ", pad.c_str());
                std::fprintf(out, " %s", numberText(element, item.numbers[i]).c_str());
            }
            std::fputc('\n', out);
            break;
        }
        case Item::SubPacket:
        case Item::Chunk: {
            bool sub = item.kind == Item::SubPacket;
            std::fprintf(out, "%s%s\n", pad.c_str(), sub ? "[ sub-packet" : "< chunk");
            printItems(out, item.items, indent + 4);
            std::fprintf(out, "%s%s\n", pad.c_str(), sub ? "]" : ">");
            break;
        }
        }
    }
}

void printHex(std::FILE* out, const char* bytes, int size, int indent)
{
    for (int line = 0; line < size; line += 16) {
        std::fprintf(out, "%*s%08x ", indent, "", static_cast<unsigned>(line));
        std::string text;
        for (int i = line; i < line + 16; ++i) {
            if (i < size) {
                unsigned char c = static_cast<unsigned char>(bytes[i]);
                std::fprintf(out, " %02x", c);
                text += c >= 0x20 && c < 0x7F ? static_cast<char>(c) : '.';
            } else {
                std::fputs("   ", out);
            }
        }
        std::fprintf(out, "  %s\n", text.c_str());
    }
}

// ---- convert

// A write context that writes each packet's own reference number from the input, so that the
// numbers, and with them every reference between packets, come out as they went in.
class PacketCopier {
public:
    virtual ~PacketCopier() = default;
    virtual ioWriteContext& writer() = 0;
    // Opens a packet that defines number (0: a packet without an object).
    virtual void startPacket(ioPacketType* type, int number) = 0;
};

template <class Base> class CopyingWriter final : public Base, public PacketCopier {
public:
    explicit CopyingWriter(ioBufferedStreamOutput& stream) : Base(stream), definedNumber(0) {}

    ioWriteContext& writer() override { return *this; }
    void startPacket(ioPacketType* type, int number) override
    {
        definedNumber = number;
        Base::startPacket(type, number ? &definedNumber : nullptr);
    }

    using Base::writeReference;
    int writeReference(const void* object, bool define) override
    {
        if (object == &definedNumber)
            return this->writeReference(definedNumber, define);
        return Base::writeReference(object, define);
    }

private:
    int definedNumber;
};

std::unique_ptr<PacketCopier> makeCopier(int method, ioBufferedStreamOutput& stream)
{
    switch (method) {
    case ioWriteAscii: return std::make_unique<CopyingWriter<ioWriteContextAscii>>(stream);
    case ioWriteBinary: return std::make_unique<CopyingWriter<ioWriteContextBinary>>(stream);
    case ioWriteAsciiDebug: return std::make_unique<CopyingWriter<ioWriteContextAsciiDebug>>(stream);
    default: return std::make_unique<CopyingWriter<ioWriteContextBinaryDebug>>(stream);
    }
}

// The input's packet types by name, numbered in the input's order after the two built-in ones.
class CopyRegistry : public ioPacketRegistry {
public:
    explicit CopyRegistry(const std::vector<std::string>& names) : ioPacketRegistry(false), names(names) {}

protected:
    void registerTypes() override
    {
        for (const std::string& name : names)
            if (!lookup(name.c_str()))
                supportedType(new ioPacketType(name.c_str()));
    }

private:
    std::vector<std::string> names;
};

template <class T>
void writeArray(ioWriteContext& writer, const Item& item, void (ioWriteContext::*write)(const T*, int))
{
    std::vector<T> values;
    values.reserve(item.numbers.size());
    for (const Number& number : item.numbers)
        values.push_back(isRealTag(elementTag(item.tag)) ? static_cast<T>(number.d) : static_cast<T>(number.i));
    (writer.*write)(values.data(), static_cast<int>(values.size()));
}

void writeArrayItem(ioWriteContext& w, const Item& item)
{
    switch (item.tag) {
    case 'B': {
        std::unique_ptr<bool[]> values(new bool[item.numbers.size() + 1]);
        for (size_t i = 0; i < item.numbers.size(); ++i)
            values[i] = item.numbers[i].i != 0;
        w.writeBoolArray(values.get(), static_cast<int>(item.numbers.size()));
        break;
    }
    case '1': writeArray<char>(w, item, &ioWriteContext::writeCharArray); break;
    case '2': writeArray<unsigned char>(w, item, &ioWriteContext::writeUCharArray); break;
    case '3': writeArray<short>(w, item, &ioWriteContext::writeShortArray); break;
    case '4': writeArray<unsigned short>(w, item, &ioWriteContext::writeUShortArray); break;
    case '5': writeArray<int>(w, item, &ioWriteContext::writeIntArray); break;
    case '6': writeArray<unsigned int>(w, item, &ioWriteContext::writeUIntArray); break;
    case '7': writeArray<int64_t>(w, item, &ioWriteContext::writeInt64Array); break;
    case '8': writeArray<uint64_t>(w, item, &ioWriteContext::writeUInt64Array); break;
    case '9': writeArray<float>(w, item, &ioWriteContext::writeFloatArray); break;
    default: writeArray<double>(w, item, &ioWriteContext::writeDoubleArray); break;
    }
}

void writeValue(ioWriteContext& w, char tag, const Number& n)
{
    switch (tag) {
    case 'b': w.writeBool(n.i != 0); break;
    case 'c': w.writeChar(static_cast<char>(n.i)); break;
    case 'C': w.writeUChar(static_cast<unsigned char>(n.i)); break;
    case 'h': w.writeShort(static_cast<short>(n.i)); break;
    case 'H': w.writeUShort(static_cast<unsigned short>(n.i)); break;
    case 'i': w.writeInt(static_cast<int>(n.i)); break;
    case 'I': w.writeUInt(static_cast<unsigned int>(n.i)); break;
    case 'l': w.writeInt64(n.i); break;
    case 'L': w.writeUInt64(static_cast<uint64_t>(n.i)); break;
    case 'f': w.writeFloat(static_cast<float>(n.d)); break;
    default: w.writeDouble(n.d); break;
    }
}

void writeItems(ioWriteContext& w, const std::vector<Item>& items, size_t from)
{
    for (size_t at = from; at < items.size(); ++at) {
        const Item& item = items[at];
        switch (item.kind) {
        case Item::Value: writeValue(w, item.tag, item.numbers[0]); break;
        case Item::Reference: w.writeReference(static_cast<int>(item.numbers[0].i), false); break;
        case Item::String: w.writeCString(item.text.c_str()); break;
        case Item::Array: writeArrayItem(w, item); break;
        case Item::SubPacket:
            w.startSubPacket();
            writeItems(w, item.items, 0);
            w.endSubPacket();
            break;
        case Item::Chunk:
            w.startChunk();
            writeItems(w, item.items, 0);
            w.endChunk();
            break;
        case Item::Token: break; // untyped input is refused before writing
        }
    }
}

int convertFailed(std::FILE* err, const std::string& what)
{
    std::fprintf(err, "qvpacket: convert: %s\n", what.c_str());
    return 1;
}

// ---- arguments

bool wantsHelp(int argc, const char* const* argv)
{
    for (int i = 2; i < argc; ++i)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0)
            return true;
    return false;
}

int usage(std::FILE* err, const char* help, const char* what)
{
    std::fprintf(err, "qvpacket: %s\n\n%s", what, help);
    return 2;
}

} // namespace

int info(const std::string& path, std::FILE* out, std::FILE* err)
{
    ProgressBar bar(path, err);
    PacketFile file;
    if (!opened(file, path, bar.function(), err))
        return 1;
    struct Tally {
        int packets = 0;
        long long bytes = 0;
    };
    std::vector<Tally> tallies(file.typeNames().size());
    int packets = 0;
    long long bytes = 0;
    Packet packet;
    bool intact = true;
    for (;;) {
        bool more = file.next(packet);
        if (!more && !file.atEnd()) {
            intact = false;
            break;
        }
        tallies[static_cast<size_t>(packet.typeId)].packets++;
        tallies[static_cast<size_t>(packet.typeId)].bytes += packet.size;
        ++packets;
        bytes += packet.size;
        if (!more)
            break;
    }
    printHeader(path, file, out);
    std::fprintf(out, "registry:    %d types\n", static_cast<int>(file.typeNames().size()));
    std::fprintf(out, "    %4s  %-32s %10s %12s\n", "id", "name", "packets", "bytes");
    for (size_t id = 0; id < tallies.size(); ++id)
        std::fprintf(out, "    %4d  %-32s %10d %12s\n", static_cast<int>(id), file.typeNames()[id].c_str(),
                     tallies[id].packets, std::to_string(tallies[id].bytes).c_str());
    std::fprintf(out, "packets:     %d (%s bytes%s, end-of-file packet included)\n", packets,
                 std::to_string(bytes).c_str(),
                 file.filters().empty() ? "" : " before filtering");
    if (!intact)
        return reportProblem(path, file, err);
    return 0;
}

int dump(const std::string& path, std::FILE* out, std::FILE* err)
{
    ProgressBar bar(path, err);
    PacketFile file;
    if (!opened(file, path, bar.function(), err))
        return 1;
    printHeader(path, file, out);
    for (size_t id = 0; id < file.typeNames().size(); ++id)
        std::fprintf(out, "type %d: %s\n", static_cast<int>(id), file.typeNames()[id].c_str());
    Packet packet;
    std::vector<Item> items;
    bool plainBinary = !file.isAscii() && !file.isDebug();
    for (;;) {
        bool more = file.next(packet);
        if (!more && !file.atEnd())
            break;
        // Inside a filtered section a packet has no offset of its own in the file: show how far
        // the file had been read when it was decoded.
        std::fprintf(out, "\npacket %d %s%d: %s (id %d)%s, %d bytes\n", packet.index,
                     file.filters().empty() ? "at offset " : "in the filtered section, file read to byte ",
                     packet.offset,
                     packet.typeName.c_str(), packet.typeId, packet.hasObject ? ", defines an object" : "",
                     packet.size);
        if (plainBinary)
            printHex(out, packet.body, packet.bodySize, 4);
        else if (file.decode(packet, items))
            printItems(out, items, 4);
        if (!more || file.problem().found)
            break;
    }
    if (file.problem().found)
        return reportProblem(path, file, err);
    return 0;
}

int verify(const std::string& path, std::FILE* out, std::FILE* err)
{
    ProgressBar bar(path, err);
    PacketFile file;
    if (!opened(file, path, bar.function(), err))
        return 1;
    Packet packet;
    std::vector<Item> items;
    int packets = 0;
    while (file.next(packet) && file.decode(packet, items))
        ++packets;
    if (!file.atEnd() || !file.finish())
        return reportProblem(path, file, err);
    std::fprintf(out, "%s: intact: %s, %d packets before the end-of-file packet%s%s\n", path.c_str(),
                 methodName(file.method()), packets, file.filters().empty() ? "" : ", filters: ",
                 joined(file.filters(), "").c_str());
    return 0;
}

int convert(const std::string& in, const std::string& out, const std::string& method, std::FILE* report,
            std::FILE* err)
{
    int target = methodFromName(method);
    if (target < 0)
        return usage(err, convertHelp, ("unknown method '" + method + "'").c_str());
    ProgressBar bar(in, err);
    PacketFile file;
    if (!opened(file, in, bar.function(), err))
        return 1;
    if (!file.isDebug()) {
        std::fprintf(err,
                     "qvpacket: convert: %s was written with the plain %s method, which does not record the "
                     "types of its values, so they cannot be known here. Save it again with ascii-debug or "
                     "binary-debug from the program that wrote it, then convert that file.\n",
                     in.c_str(), methodName(file.method()));
        return 1;
    }
    CopyRegistry registry(file.typeNames());
    ioBufferedStreamOutput stream;
    // The output replaces out only when it is complete: a failed convert, which returns without
    // closing the stream, leaves any earlier file there as it was (and in may be out itself).
    stream.openFileReplacing(out.c_str());
    if (!stream.good())
        return convertFailed(err, "cannot create " + out);
    std::unique_ptr<PacketCopier> copier = makeCopier(target, stream);
    ioWriteContext& writer = copier->writer();
    writer.associateRegistry(&registry);
    writer.startFile();

    Packet packet;
    std::vector<Item> items;
    int packets = 0;
    while (file.next(packet) && file.decode(packet, items)) {
        ioPacketType* type = registry.lookup(packet.typeName.c_str());
        int number = 0;
        if (packet.hasObject) {
            if (items.empty() || items[0].kind != Item::Reference) {
                return convertFailed(err, in + ": packet " + std::to_string(packet.index) +
                                                   " defines an object but does not begin with its reference");
            }
            number = static_cast<int>(items[0].numbers[0].i);
        }
        copier->startPacket(type, number);
        writeItems(writer, items, packet.hasObject ? 1 : 0);
        writer.endPacket();
        ++packets;
    }
    if (!file.atEnd() || !file.finish())
        return reportProblem(in, file, err);
    writer.endFile();
    if (!writer.good())
        return convertFailed(err, "writing " + out + " failed");
    stream.close();
    if (!stream.good())
        return convertFailed(err, "writing " + out + " failed");
    std::fprintf(report, "%s -> %s: %d packets, %s -> %s\n", in.c_str(), out.c_str(), packets,
                 methodName(file.method()), methodName(target));
    return 0;
}

namespace {

// Thrown by the abort function qvpacket installs: a fatal error of the packet-file library
// ends the command with the tool's own message, never the process.
struct FatalPacketError {};

int runCommand(int argc, const char* const* argv, std::FILE* out, std::FILE* err);

} // namespace

int run(int argc, const char* const* argv, std::FILE* out, std::FILE* err)
{
    ioPacketFileAbortInit([] { throw FatalPacketError(); });
    int status = 1;
    try {
        status = runCommand(argc, argv, out, err);
    } catch (const FatalPacketError&) {
        std::fprintf(err, "qvpacket: %s: the packet-file library stopped on a fatal error in the file\n",
                     argc > 2 ? argv[2] : "");
        status = 1;
    }
    ioPacketFileAbortInit(nullptr);
    return status;
}

namespace {

int runCommand(int argc, const char* const* argv, std::FILE* out, std::FILE* err)
{
    if (argc < 2)
        return usage(err, toolHelp, "no command given");
    std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(toolHelp, out);
        return 0;
    }
    static const std::map<std::string, const char*> helps = {
        {"info", infoHelp}, {"dump", dumpHelp}, {"verify", verifyHelp}, {"convert", convertHelp},
        {"graph", graphHelp}};
    auto help = helps.find(command);
    if (help == helps.end())
        return usage(err, toolHelp, ("unknown command '" + command + "'").c_str());
    if (wantsHelp(argc, argv)) {
        std::fputs(help->second, out);
        return 0;
    }
    std::vector<std::string> files;
    std::string method, svg;
    bool json = false;
    for (int i = 2; i < argc; ++i) {
        std::string arg = argv[i];
        if (command == "dump" && arg == "--json")
            json = true;
        else if (command == "graph" && arg == "--svg" && i + 1 < argc)
            svg = argv[++i];
        else if (command == "convert" && arg == "--method" && i + 1 < argc)
            method = argv[++i];
        else if (command == "convert" && arg.compare(0, 9, "--method=") == 0)
            method = arg.substr(9);
        else if (arg.size() > 1 && arg[0] == '-')
            return usage(err, help->second, ("unknown option '" + arg + "'").c_str());
        else
            files.push_back(arg);
    }
    if (command == "convert") {
        if (files.size() != 2 || method.empty())
            return usage(err, convertHelp, "convert needs IN, OUT and --method");
        return convert(files[0], files[1], method, out, err);
    }
    if (files.size() != 1)
        return usage(err, help->second, (command + " needs exactly one FILE").c_str());
    if (command == "info")
        return info(files[0], out, err);
    if (command == "dump")
        return json ? dumpJson(files[0], out, err) : dump(files[0], out, err);
    if (command == "graph")
        return graph(files[0], svg, out, err);
    return verify(files[0], out, err);
}

} // namespace

} // namespace qvPacket
