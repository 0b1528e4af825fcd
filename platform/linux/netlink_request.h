#pragma once

/// Requests to the kernel: building them, sending them, reading all of the answer.

#include <cstdint>

#include "netlink.h"

namespace platform {

/// Room for the largest request; a longer list is sent in pieces.
inline constexpr uint32_t NETLINK_REQUEST_SIZE = 16384;

/// A request under construction. What does not fit marks it as too long, and it is not sent then.
struct NetlinkRequest {
    alignas(8) uint8_t data[NETLINK_REQUEST_SIZE];
    uint32_t length;
    bool tooLong;
};

/// Starts a message of @p type with the @p length bytes of its fixed part. @p flags is 0 for a
/// request that is to be acknowledged, NLM_F_DUMP for a table; further NLM_F_* bits add to either.
void requestBegin(NetlinkRequest* request, uint16_t type, uint16_t flags, const void* body,
                  uint32_t length);

void requestPut(NetlinkRequest* request, uint16_t type, const void* value, uint32_t length);

template <class T> void requestPutValue(NetlinkRequest* request, uint16_t type, T value) {
    requestPut(request, type, &value, sizeof value);
}

/// Appends whole attributes, padding included.
void requestPutAll(NetlinkRequest* request, const void* attributes, uint32_t length);

/// Opens an attribute that holds attributes. @return what requestEndNest takes
uint32_t requestNest(NetlinkRequest* request, uint16_t type);
void requestEndNest(NetlinkRequest* request, uint32_t nest);

/// Bytes that still fit.
uint32_t requestRoom(const NetlinkRequest* request);

using MessageVisitor = void (*)(const Bytes& message, void* context);

/// Sends the request and waits for all of its answer: @p visit (may be null) sees each message but
/// acknowledgements. A dump that the kernel's tables changed under is asked for again, so that a
/// message may be seen twice.
/// @return 0 or an errno value
int32_t netlinkRequest(NetlinkRequest* request, MessageVisitor visit, void* context);

/// Stands for the kernel in tests. @return as netlinkRequest
using NetlinkPeer = int32_t (*)(const Bytes& request, MessageVisitor visit, void* context);

/// Sends all further requests to @p peer; null: to the kernel.
void setNetlinkPeer(NetlinkPeer peer);

} // namespace platform
