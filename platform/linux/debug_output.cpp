// The debug channel is standard error, so that whoever started the daemon decides where it goes. A
// reader that has gone away costs the text and nothing else.

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/debug.h"

void NM_DEBUG_OUTPUT(const char* text) {
    size_t left = strlen(text);
    while (left > 0) {
        const ssize_t written = write(STDERR_FILENO, text, left);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        text += written;
        left -= static_cast<size_t>(written);
    }
}
