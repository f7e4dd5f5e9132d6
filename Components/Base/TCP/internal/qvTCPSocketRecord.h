#ifndef QVTCP_INTERNAL_SOCKETRECORD_H
#define QVTCP_INTERNAL_SOCKETRECORD_H

#include "qvTCPSocket.h"
#include "qvTCPPlatform.h"

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


} // namespace internal
} // namespace qvTCP

#endif
