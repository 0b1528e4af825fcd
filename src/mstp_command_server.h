#pragma once

/// Management requests on the local stream socket: one request and one reply per connection.

#include <cstdint>

#include "mstp/management.h"

/// Accepts one connection on the command socket and serves its request. Waits until the client has
/// sent it. The lengths before request and reply are in host byte order.
/// @return 0, -1 when no request came or the reply did not go out; a request that cannot be decoded
/// is answered with length 0 and counts as served
int32_t mstpCmdServer();

/// Decodes the request in @p buf, runs it and rewrites it into the reply, which is as long as the
/// request: the operation's result, and on success of a get or of a walk the value. A set request
/// is first appended to the restore file as it came.
/// @param buf   a message as platform/adr.h lays it out, integers big-endian
/// @param len   its length in bytes; the caller has bounded it
/// @param flag  null for a live request; others are not recorded
/// @return the reply's length in bytes, 0 on a decoding error
int32_t mstpCmdProcess(uint8_t* buf, int32_t len, void* flag);
