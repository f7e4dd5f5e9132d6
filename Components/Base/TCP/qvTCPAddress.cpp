#include "qvTCPAddress.h"

#include "internal/qvTCPPlatform.h"
#include "internal/qvTCPStartup.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qvTCP {
namespace internal {

void startup()
{
    // Cleared before the attempt, so it is made exactly once per process, failed or not.
    static std::atomic<bool> pending(true);
    if (!pending.exchange(false))
        return;
    int code = startNetworking();
    if (code == 0)
        return;
    const char* text = "unknown error";
    switch (code) {
    case 10014: text = "internal application error"; break;
    case 10036: text = "operation in progress"; break;
    case 10067: text = "internal limits exceeded"; break;
    case 10091: text = "system not ready"; break;
    case 10092: text = "version 2.0 not supported"; break;
    default: break;
    }
    std::printf("Cannot initialize Windows Sockets: %s", text);
}

std::string formatDotted(std::uint32_t networkAddress)
{
    // Network order: the first octet is the first byte in memory.
    unsigned char octets[4];
    std::memcpy(octets, &networkAddress, 4);
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", octets[0], octets[1], octets[2], octets[3]);
    return text;
}

} // namespace internal

namespace {

qvUtil::Error lookUpFailure(const internal::HostEntry& entry)
{
    return qvUtil::Error(entry.notFound ? 3 : 1, "%s", entry.message.c_str());
}

internal::HostEntry lookUpDotted(const qvString::CString& dotted)
{
    return internal::lookUpAddress(internal::parseDotted(dotted.asChar()));
}

} // namespace

Address::Address(const qvString::CString& hostAndPort)
    : numbersAndDotsCached(false), nameCached(false), port(0)
{
    unsigned int colon = hostAndPort.find(':');
    if (colon == qvString::CString::npos || colon == 0)
        throw qvUtil::Error(2, "qvTCP::Address: port number is missing");
    // atoi: "host:" is port 0 and "host:12ab" port 12.
    port = std::atoi(hostAndPort.asChar() + colon + 1);
    parseHost(hostAndPort.substr(0, colon));
}

Address::Address(const qvString::CString& host, int port)
    : numbersAndDotsCached(false), nameCached(false), port(port)
{
    parseHost(host);
}

void Address::parseHost(const qvString::CString& host)
{
    internal::startup();
    if (host.length() == 0)
        throw qvUtil::Error(2, "qvTCP::Address: empty address specified");
    // "255.255.255.255" parses as no address and is therefore taken as a name.
    if (internal::parseDotted(host.asChar()) == internal::noAddress) {
        nameCached = true;
        name = host;
    } else {
        numbersAndDotsCached = true;
        numbersAndDots = host;
    }
}

bool Address::operator==(const Address& other) const
{
    if (port != other.port)
        return false;
    if (numbersAndDotsCached && other.numbersAndDotsCached)
        return numbersAndDots == other.numbersAndDots;
    return name == other.name;
}

qvUtil::Error Address::resolve()
{
    internal::HostEntry entry = numbersAndDotsCached ? lookUpDotted(numbersAndDots)
                                                     : internal::lookUpName(name.asChar());
    if (!entry.found)
        return lookUpFailure(entry);
    name = entry.name.c_str();
    numbersAndDots = internal::formatDotted(entry.address).c_str();
    return qvUtil::Error();
}

std::pair<qvString::CString, qvUtil::Error> Address::getNumbersAndDots()
{
    if (!numbersAndDotsCached) {
        internal::HostEntry entry = internal::lookUpName(name.asChar());
        if (!entry.found)
            return {numbersAndDots, lookUpFailure(entry)};
        numbersAndDots = internal::formatDotted(entry.address).c_str();
        numbersAndDotsCached = true;
    }
    return {numbersAndDots, qvUtil::Error()};
}

std::pair<qvString::CString, qvUtil::Error> Address::getName()
{
    if (!nameCached) {
        internal::HostEntry entry = lookUpDotted(numbersAndDots);
        if (!entry.found)
            return {name, lookUpFailure(entry)};
        name = entry.name.c_str();
        nameCached = true;
    }
    return {name, qvUtil::Error()};
}

qvString::CString& Address::localhostName()
{
    static qvString::CString kept = [] {
        internal::startup(); // Windows answers only once its sockets are started
        char name[256];
        if (internal::hostName(name, sizeof name) != 0)
            name[0] = '\0';
        name[sizeof name - 1] = '\0';
        return qvString::CString(name);
    }();
    return kept;
}

} // namespace qvTCP
