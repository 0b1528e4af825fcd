#pragma once

/// Frames that have been read and wait for the daemon, port by port.

#include <linux/if_packet.h>

#include <cstdint>

namespace platform {

/// Longest frame that is kept: longer ones are no BPDUs.
inline constexpr uint32_t QUEUED_FRAME_SIZE = 1522;

/// Most frames that wait for one port. A neighbour never says as much at once.
inline constexpr uint32_t QUEUED_PER_PORT_MAX = 16;

struct QueuedFrame {
    uint16_t next; ///< of the same port, or of the free ones
    uint16_t length;
    sockaddr_ll source;
    uint8_t data[QUEUED_FRAME_SIZE];
};

/// Drops all frames.
void clearFrames();

/// A frame to read into, null when none is free. It stays the free one until keepFrame takes it.
QueuedFrame* freeFrame();

/// Appends what was read into freeFrame() to the frames of port number @p number, unless that port
/// has its share already: then it is dropped.
void keepFrame(uint32_t number);

/// The next frame of the next port that has any, null for none. It is valid until freeFrame.
const QueuedFrame* takeFrame();

/// True while a frame waits.
bool framesWait();

} // namespace platform
