// The service manager's protocol is a datagram of lines to the socket that NOTIFY_SOCKET names;
// WATCHDOG_USEC says how long it waits for a sign of life before it restarts the daemon.

#include "service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "platform/timer.h"

namespace {

struct ServiceManager {
    bool asked;        ///< the environment has been read
    bool ready;        ///< readiness has been told
    int fd;            ///< -1: nobody to tell
    sockaddr_un name;  ///< where to send
    socklen_t length;  ///< of the name
    uint64_t interval; ///< microseconds between signs of life, 0: none are wanted
    uint64_t last;     ///< when the last one was sent
};
ServiceManager gManager = {};

// A name that begins with '@' is one of Linux's abstract names.
bool readAddress(ServiceManager* manager) {
    const char* path = getenv("NOTIFY_SOCKET");
    if (path == nullptr || (path[0] != '/' && path[0] != '@')) {
        return false;
    }
    const size_t length = strlen(path);
    if (length < 2 || length >= sizeof manager->name.sun_path) {
        return false;
    }
    manager->name.sun_family = AF_UNIX;
    memcpy(manager->name.sun_path, path, length);
    if (path[0] == '@') {
        manager->name.sun_path[0] = '\0';
    }
    manager->length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    return true;
}

// Half the time that the manager waits, so that one late sign does no harm.
uint64_t readInterval() {
    const char* text = getenv("WATCHDOG_USEC");
    const char* pid = getenv("WATCHDOG_PID");
    if (text == nullptr || (pid != nullptr && atol(pid) != getpid())) {
        return 0;
    }
    return strtoull(text, nullptr, 10) / 2;
}

void ask(ServiceManager* manager) {
    manager->asked = true;
    manager->fd = -1;
    if (!readAddress(manager)) {
        return;
    }
    manager->interval = readInterval();
    manager->fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

void tell(const ServiceManager* manager, const char* text) {
    sendto(manager->fd, text, strlen(text), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&manager->name), manager->length);
}

} // namespace

void platform::serviceAlive() {
    ServiceManager* manager = &gManager;
    if (!manager->asked) {
        ask(manager);
    }
    if (manager->fd < 0 || (manager->ready && manager->interval == 0)) {
        return;
    }
    const uint64_t now = platformClock();
    if (!manager->ready) {
        manager->ready = true;
        manager->last = now;
        tell(manager, "READY=1\n");
    } else if (now - manager->last >= manager->interval) {
        manager->last = now;
        tell(manager, "WATCHDOG=1\n");
    }
}

void platform::serviceStopping() {
    if (gManager.asked && gManager.fd >= 0) {
        tell(&gManager, "STOPPING=1\n");
    }
}
