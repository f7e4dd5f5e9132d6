#include "ioPacketRegistry.h"

#include "ioBufferedStream.h"
#include "ioContext.h"
#include "ioPacketType.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

struct TextLess {
    bool operator()(const char* a, const char* b) const { return std::strcmp(a, b) < 0; }
};

} // namespace

class ioPacketRegistryImpl {
public:
    // Every type the registry was given or made, in order; the registry owns them.
    std::vector<std::unique_ptr<ioPacketType>> owned;
    // Types by name (the key is the type's own name).
    std::map<const char*, ioPacketType*, TextLess> byName;
    // Numbered types: a type's id is its index here.
    std::vector<ioPacketType*> byId;
    std::string problem;
    std::string refused;

    void add(ioPacketType* type)
    {
        owned.emplace_back(type);
        byName.emplace(type->getName(), type);
    }
};

ioPacketRegistry::ioPacketRegistry(bool isReading)
    : impl(new ioPacketRegistryImpl), initialized(false), reading(isReading)
{
}

ioPacketRegistry::~ioPacketRegistry()
{
    delete impl;
}

void ioPacketRegistry::init()
{
    if (initialized)
        return;
    supportedType(new ioPacketString());
    supportedType(new ioPacketEOF());
    registerTypes();
    initialized = true;
}

namespace {

// Why a name cannot travel in a registry line "%4d %s\n" that the reader takes apart with
// "%d %s" from at most 89 characters, or null when it can.
const char* nameProblem(const char* name, int id)
{
    if (!*name)
        return "the name is empty";
    if (*name == '@')
        return "a name beginning with \"@\" would end the registry";
    for (const char* p = name; *p; ++p)
        if (*p == ' ' || (*p >= '\t' && *p <= '\r'))
            return "the name holds white space";
    char number[16];
    int digits = std::snprintf(number, sizeof number, "%4d", id);
    if (digits + 1 + std::strlen(name) + 1 > static_cast<size_t>(ioPacketRegistry::maxLineLength))
        return "the name is too long for a registry line";
    return nullptr;
}

} // namespace

void ioPacketRegistry::supportedType(ioPacketType* type)
{
    if (!type)
        return;
    int id = reading ? 0 : static_cast<int>(impl->byId.size());
    const char* problem = nameProblem(type->getName(), id);
    if (!problem && lookup(type->getName()))
        problem = "a type of that name is registered already";
    if (problem) {
        // Kept (the registry owns what it is given) but never named or numbered.
        impl->owned.emplace_back(type);
        ioPacketFileError("ioPacketFile: The packet type '%.100s' is refused: %s.\n",
                          type->getName(), problem);
        if (impl->refused.empty())
            impl->refused = std::string("'") + type->getName() + "': " + problem;
        return;
    }
    impl->add(type);
    if (!reading) {
        type->id = static_cast<int>(impl->byId.size());
        impl->byId.push_back(type);
    }
}

ioPacketType* ioPacketRegistry::lookup(const char* name) const
{
    if (!name)
        return nullptr;
    auto it = impl->byName.find(name);
    return it == impl->byName.end() ? nullptr : it->second;
}

ioPacketType* ioPacketRegistry::lookup(int id) const
{
    if (id < 0 || static_cast<size_t>(id) >= impl->byId.size())
        return nullptr;
    return impl->byId[static_cast<size_t>(id)];
}

void ioPacketRegistry::writeRegistry(ioBufferedStreamOutput& stream)
{
    for (ioPacketType* type : impl->byId) {
        char id[16];
        std::snprintf(id, sizeof id, "%4d ", type->getId());
        std::string line = id;
        line += type->getName();
        line += '\n';
        stream.writeString(line.c_str());
    }
    stream.writeString("@\n");
}

ioStatus ioPacketRegistry::readRegistry(ioBufferedStreamInput& stream)
{
    impl->problem.clear();
    char line[90];
    line[0] = '\0';
    stream.readLine(line, sizeof line);
    bool first = true;
    int previous = 0;
    while (line[0] != '@' && stream.good()) {
        int id = 0;
        char name[90];
        if (std::sscanf(line, "%d %89s", &id, name) != 2) {
            impl->problem = "a line is not \"<id> <name>\"";
            return ioBadData;
        }
        if (!first && id != previous + 1) {
            impl->problem = "the type ids are not consecutive (" + std::to_string(id)
                            + " follows " + std::to_string(previous) + ")";
            return ioBadData;
        }
        first = false;
        previous = id;
        ioPacketType* type = lookup(name);
        if (!type) {
            // A type this program does not support: reading one of its packets reports it.
            type = new ioPacketType(name);
            impl->add(type);
        }
        type->id = static_cast<int>(impl->byId.size());
        impl->byId.push_back(type);
        stream.readLine(line, sizeof line);
    }
    if (!stream.good()) {
        impl->problem = "the file ends before the registry's \"@\" line";
        return ioError;
    }
    return ioOk;
}

const char* ioPacketRegistry::readProblem() const
{
    return impl->problem.c_str();
}

const char* ioPacketRegistry::refusal() const
{
    return impl->refused.c_str();
}
