#pragma once

/// News about the kernel's bridge: into the record of it, and from there to the daemon.

#include "link_translate.h"
#include "netlink.h"

namespace platform {

/// A link message of family bridge tells of a port.
void noteBridgePort(const LinkInfo& link);

/// A link message of another family tells of some interface, which may be the bridge.
/// @param there  false: it was deleted
void noteBridgeLink(const LinkInfo& link, bool there);

/// True while the daemon has yet to be told something about the bridge.
bool bridgeNewsWait();

/// Writes the messages for it, as many as fit.
void putBridgeNews(LinkOutput* output);

} // namespace platform
