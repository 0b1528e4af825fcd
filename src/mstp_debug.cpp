// Traces and dumps. A trace is one line on the platform's debug channel; which traces are made is
// the debug mask's matter and is tested by whoever traces. Nothing here allocates: a line that does
// not fit its buffer is cut.

#include "mstp_debug.h"

#include <cstdarg>
#include <cstdio>

#include "mstp/context.h"
#include "platform/debug.h"

static constexpr uint32_t LINE_SIZE = 1024;
static constexpr uint32_t BYTES_PER_LINE = 16;

void mstpDebug(const char* format, ...) {
    char text[LINE_SIZE];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    char line[LINE_SIZE + 32];
    snprintf(line, sizeof line, "[MSTP]:info=%s\n\r", text);
    NM_DEBUG_OUTPUT(line);
}

void mstpPktPrint(const uint8_t* data, uint32_t length) {
    for (uint32_t start = 0; start < length; start += BYTES_PER_LINE) {
        char line[2 + 3 * BYTES_PER_LINE + 3] = "\n\r";
        uint32_t used = 2;
        const uint32_t count = length - start < BYTES_PER_LINE ? length - start : BYTES_PER_LINE;
        for (uint32_t i = 0; i < count; i++) {
            snprintf(line + used, sizeof line - used, "%02x ", data[start + i]);
            used += 3;
        }
        if (count < BYTES_PER_LINE) {
            snprintf(line + used, sizeof line - used, "\n\r");
        }
        NM_DEBUG_OUTPUT(line);
    }
}

void mstpPortFlushDebug(uint32_t flag) {
    gMstp.onlyFlushMac = flag != 0 ? 1 : 0;
}

void mstpDebugOn() {
    gMstp.debug = 0xFFFFFFFF;
}

void mstpDebugOff() {
    gMstp.debug = 0;
}
