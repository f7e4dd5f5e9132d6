#ifndef QVTCP_ADDRESS_H
#define QVTCP_ADDRESS_H

// One TCP endpoint: a host, given as a dotted IPv4 address or as a name, and a port. The other
// host form is looked up on demand and cached once known.
//
//     qvTCP::Address server("127.0.0.1:5000");
//     std::pair<qvString::CString, qvUtil::Error> name = server.getName();

#include "qvBaseExport.h"
#include "qvStringCString.h"
#include "qvUtilError.h"

#include <utility>

namespace qvTCP {

class QV_BASE_API Address {
public:
    // "host:port". Throws Error(2, ...) when the port or the host is missing; the port is the
    // leading number after the colon (0 when there is none).
    Address(const qvString::CString& hostAndPort);
    // Throws Error(2, "qvTCP::Address: empty address specified") for an empty host.
    Address(const qvString::CString& host, int port);
    Address(const Address& other) = default;
    Address& operator=(const Address& other) = default;
    ~Address() = default;

    // Different ports are unequal; two dotted forms compare as such; anything else compares the
    // names as they stand (no look-up is made).
    bool operator==(const Address& other) const;
    bool operator!=(const Address& other) const { return !(*this == other); }

    // Fills both host forms from whichever is known; the cached flags stay as they are.
    // Error(3, ...) when the host is unknown, Error(1, ...) for any other look-up failure.
    qvUtil::Error resolve();
    // The dotted form, looked up from the name when it is not cached yet.
    std::pair<qvString::CString, qvUtil::Error> getNumbersAndDots();
    // The name, looked up from the dotted form when it is not cached yet.
    std::pair<qvString::CString, qvUtil::Error> getName();

    bool isNumbersAndDotsCached() const { return numbersAndDotsCached; }
    bool isNameCached() const { return nameCached; }
    int getPort() const { return port; }

    // The local host's name, asked of the system once per process.
    static qvString::CString& localhostName();

private:
    void parseHost(const qvString::CString& host);

    bool numbersAndDotsCached;
    bool nameCached;
    qvString::CString numbersAndDots;
    qvString::CString name;
    int port;
};

} // namespace qvTCP

#endif
