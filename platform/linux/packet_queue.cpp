// One socket hears all ports, so a port that is flooded would fill its buffer, and the others'
// hellos would not come through for as long as the flood lasts: the tree would age out everywhere
// because of one wire. Therefore all that has arrived is read at once and sorted by port. A port
// keeps few frames, what is beyond is dropped, and the daemon gets one frame of each port in turn.
//
// The frames are a pool of fixed size. Half of it is for ports that have no frame yet: as many as a
// kernel bridge can have, should they all be flooded at once.

#include "packet_queue.h"

#include "port_table.h"

namespace {

using platform::QueuedFrame;

constexpr uint16_t kFrames = 2048;
constexpr uint16_t kNone = kFrames;
constexpr uint32_t kCommonFrames = kFrames / 2;

struct PortQueue {
    uint16_t first;
    uint16_t last;
    uint16_t count;
    uint16_t nextPort; // number of the port whose turn comes after this one's, 0: none
};

QueuedFrame gFrames[kFrames];
PortQueue gQueues[platform::PORT_NUMBER_MAX + 1];
uint16_t gFree = kNone;
uint16_t gUntouched; // frames from this one on have never been free nor used
uint32_t gWaiting;   // frames
uint16_t gFirstPort; // whose turn it is, 0: nobody's
uint16_t gLastPort;

bool hasItsShare(const PortQueue& queue) {
    return queue.count != 0 &&
           (queue.count == platform::QUEUED_PER_PORT_MAX || gWaiting >= kCommonFrames);
}

void release(uint16_t frame) {
    gFrames[frame].next = gFree;
    gFree = frame;
}

void appendPort(uint16_t number) {
    gQueues[number].nextPort = 0;
    if (gFirstPort == 0) {
        gFirstPort = number;
    } else {
        gQueues[gLastPort].nextPort = number;
    }
    gLastPort = number;
}

void appendFrame(PortQueue* queue, uint16_t frame) {
    gFrames[frame].next = kNone;
    if (queue->count == 0) {
        queue->first = frame;
    } else {
        gFrames[queue->last].next = frame;
    }
    queue->last = frame;
    queue->count++;
}

} // namespace

namespace platform {

void clearFrames() {
    while (takeFrame() != nullptr) {
    }
}

// Memory of frames that were never needed stays untouched, and costs nothing.
QueuedFrame* freeFrame() {
    if (gFree == kNone && gUntouched < kFrames) {
        release(gUntouched++);
    }
    return gFree != kNone ? &gFrames[gFree] : nullptr;
}

void keepFrame(uint32_t number) {
    PortQueue* queue = &gQueues[number];
    if (hasItsShare(*queue)) {
        return;
    }
    if (queue->count == 0) {
        appendPort(static_cast<uint16_t>(number));
    }
    const uint16_t frame = gFree;
    gFree = gFrames[frame].next;
    appendFrame(queue, frame);
    gWaiting++;
}

const QueuedFrame* takeFrame() {
    if (gFirstPort == 0) {
        return nullptr;
    }
    const uint16_t number = gFirstPort;
    PortQueue* queue = &gQueues[number];
    gFirstPort = queue->nextPort;
    const uint16_t frame = queue->first;
    queue->first = gFrames[frame].next;
    queue->count--;
    if (queue->count != 0) {
        appendPort(number);
    }
    release(frame);
    gWaiting--;
    return &gFrames[frame];
}

bool framesWait() {
    return gWaiting != 0;
}

} // namespace platform
