#ifndef QVTCP_INTERNAL_SOCKETRECORD_H
#define QVTCP_INTERNAL_SOCKETRECORD_H

#include "qvTCPSocket.h"
#include "qvTCPPlatform.h"

#include "internal/qvUtilPlatform.h"

#include <cstdio>

namespace qvTCP {

// Bits of Socket::Record::shut.
enum { shutReceiving = 1, shutSending = 2, shutBoth = 3 };

struct Socket::Record {
    internal::NativeSocket socket = internal::invalidSocket;
    Address* local = nullptr;  // owned, made on demand
    Address* remote = nullptr; // owned
    bool connected = false;
    bool throwMode = false;
    qvUtil::Interval timeout;
    int shut = 0;
    int descriptor = -1;
    FILE* stream = nullptr;
};

namespace internal {

// Lingers 2 seconds on close, so queued bytes still reach the peer.
constexpr int lingerSeconds = 2;

// An Error with the system text of a socket error number: format holds one %s for it.
inline qvUtil::Error socketError(int code, int error, const char* format = "%s")
{
    return qvUtil::Error(code, format, qvUtil::internal::systemErrorText(error).c_str());
}

// The same for the last failed socket call.
inline qvUtil::Error socketError(int code, const char* format = "%s")
{
    return socketError(code, lastError(), format);
}

} // namespace internal
} // namespace qvTCP

#endif
