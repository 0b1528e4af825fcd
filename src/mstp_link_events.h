#pragma once

/// Link messages in the platform's numbering: framed like the kernel's route netlink messages, in
/// host byte order, with attributes of the platform's own.

#include <cstdint>

struct nlmsghdr;

/// Splits a datagram of @p len bytes into messages and serves those of new and of deleted links.
/// Whatever is malformed ends the walk. @return 0
int32_t mstpRtmProcess(const void* buf, int32_t len);

/// Serves a message about a link that appeared or changed.
/// @param h    the message header
/// @param len  bytes that remain in the datagram from @p h on, less 16
void mstpProcessNewlink(const nlmsghdr* h, int32_t len);

/// Serves a message about a link that vanished; parameters as above.
void mstpProcessDellink(const nlmsghdr* h, int32_t len);
