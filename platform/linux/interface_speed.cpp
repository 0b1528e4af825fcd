// The speed of an interface is what its driver tells ethtool. The request takes two steps: the
// first tells how many words the kernel's link mode masks have, the second brings the settings.
// Where the kernel does not know the request, the interface's folder in sysfs is asked, if it is
// the folder of this very interface: another network namespace may be mounted there.

#include "interface_speed.h"

#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "interface_request.h"

namespace {

constexpr uint32_t kMaskWordsMax = 127;

// The settings end in three masks of as many words as the kernel likes.
struct LinkSettings {
    alignas(ethtool_link_settings)
        uint8_t bytes[sizeof(ethtool_link_settings) + 3 * kMaskWordsMax * sizeof(uint32_t)];
};

bool speedIsKnown(uint32_t speed) {
    return speed != 0 && speed != static_cast<uint32_t>(SPEED_UNKNOWN);
}

// Asks with room for masks of @p words words; what precedes the masks goes to @p head.
bool requestSettings(const char* name, int8_t words, ethtool_link_settings* head) {
    LinkSettings settings = {};
    *head = {};
    head->cmd = ETHTOOL_GLINKSETTINGS;
    head->link_mode_masks_nwords = words;
    memcpy(settings.bytes, head, sizeof *head);
    ifreq request = {};
    memcpy(request.ifr_name, name, IFNAMSIZ);
    request.ifr_data = reinterpret_cast<char*>(settings.bytes);
    if (platform::deviceRequest(SIOCETHTOOL, &request) != 0) {
        return false;
    }
    memcpy(head, settings.bytes, sizeof *head);
    return true;
}

bool speedFromEthtool(const char* name, uint32_t* speed) {
    ethtool_link_settings settings;
    if (!requestSettings(name, 0, &settings) || settings.link_mode_masks_nwords >= 0) {
        return false;
    }
    const auto words = static_cast<int8_t>(-settings.link_mode_masks_nwords);
    if (!requestSettings(name, words, &settings) || !speedIsKnown(settings.speed)) {
        return false;
    }
    *speed = settings.speed;
    return true;
}

// Reads the number in file @p file of the interface's folder; -1 for none.
int64_t sysfsNumber(const char* name, const char* file) {
    char path[64];
    snprintf(path, sizeof path, "/sys/class/net/%s/%s", name, file);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    char text[24] = {};
    const ssize_t length = read(fd, text, sizeof text - 1);
    close(fd);
    return length > 0 ? strtoll(text, nullptr, 10) : -1;
}

bool speedFromSysfs(uint32_t ifindex, const char* name, uint32_t* speed) {
    if (sysfsNumber(name, "ifindex") != static_cast<int64_t>(ifindex)) {
        return false;
    }
    const int64_t number = sysfsNumber(name, "speed");
    if (number <= 0 || number > UINT32_MAX || !speedIsKnown(static_cast<uint32_t>(number))) {
        return false;
    }
    *speed = static_cast<uint32_t>(number);
    return true;
}

} // namespace

namespace platform {

int32_t interfaceSpeed(uint32_t ifindex, uint32_t* speed) {
    char name[IFNAMSIZ];
    if (!interfaceName(ifindex, name)) {
        return -1;
    }
    return speedFromEthtool(name, speed) || speedFromSysfs(ifindex, name, speed) ? 0 : -1;
}

} // namespace platform
