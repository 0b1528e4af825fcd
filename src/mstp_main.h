#pragma once

/// Start-up, the main loop and posted work.

#include <sys/select.h>

#include <cstdint>

#include "mstp/context.h"
#include "platform/seam.h"

inline constexpr uint32_t MSTP_FRAME_SIZE = 1522;
inline constexpr uint32_t MSTP_RTM_SIZE = 2048;
inline constexpr uint32_t MSTP_PATH_SIZE = 108;

/// What the main loop owns: its buffers, reused and never cleared, and what its wait is about.
struct tMstpLoop {
    uint8_t frame[MSTP_FRAME_SIZE];
    alignas(8) uint8_t converted[2048];
    alignas(8) uint8_t control[2048];
    alignas(8) uint8_t rtm[MSTP_RTM_SIZE];
    fd_set readSet;
    int32_t maxFd;
};

/// Converts the command line, fills the context and runs; what `main` calls.
int32_t mstpStart(int32_t argc, char** argv);

/// Fills gMstp, allocates the pools, opens the sockets, creates bridge 1. @return 0, -1 on failure
int32_t mstpInit(const char* bridgeName, uint32_t priority, uint32_t stackSize, uint32_t msgQDeepth,
                 uint8_t bridgeLimit, uint8_t xstLimit, uint16_t portLimit);

/// Frees the pools and closes the sockets.
void mstpRelease();

/// The main loop; never returns.
void mstpMain();

/// Prepares the loop's buffers, once.
void mstpLoopInit(tMstpLoop* loop);

/// First half of an iteration: waits on the sockets. @return what select returned
int32_t mstpLoopWait(tMstpLoop* loop);

/// Second half: due timers, then at most one frame, one command and one link datagram.
/// @param ready  what the wait returned
void mstpLoopServe(tMstpLoop* loop, int32_t ready);

/// The wait for a next time-out of @p ticks: the hundredths beyond whole seconds are deliberately
/// waited as milliseconds, 17 at least.
void mstpLoopTimeout(uint32_t ticks, timeval* timeout);

/// Posts work to the loop: mstpProcessMsg runs one tick from now. @return 0
int32_t mstpSendMsg(uint32_t type);
void mstpProcessMsg(uint32_t type);

void mstpLock();
void mstpUnLock();

/// Seconds since the system booted.
uint32_t mstpGetSysUpTime();

/// Writes to @p path (MSTP_PATH_SIZE bytes) where @p name lies: in the folder that MSTP_RUN_DIR
/// names, else in /tmp. @return 0, -1 when the path would be too long
int32_t mstpRunPath(char* path, const char* name);
