#include "restore.h"

#include <cstring>

#include "apply.h"
#include "file.h"
#include "mstp/management.h"

static constexpr size_t LONGEST_RECORD = 256 << 20;
static constexpr size_t LENGTH_SIZE = 4;
static constexpr uint32_t SHORTEST_REQUEST = 26;
static constexpr size_t OFFSET_SELECTOR = 8;
static constexpr size_t OFFSET_ATTRIBUTE = 16;

[[noreturn]] static void refuse(size_t offset, const std::string& what) {
    throw Refused("the record is damaged at offset " + std::to_string(offset) + ": " + what +
                  "; nothing was sent");
}

std::vector<std::vector<uint8_t>> splitRecord(const std::string& bytes) {
    std::vector<std::vector<uint8_t>> requests;
    for (size_t offset = 0; offset < bytes.size();) {
        uint32_t length = 0;
        if (bytes.size() - offset < LENGTH_SIZE) {
            refuse(offset, "a length is cut short");
        }
        memcpy(&length, bytes.data() + offset, LENGTH_SIZE);
        if (length < SHORTEST_REQUEST || length > MSTP_CMD_SIZE) {
            refuse(offset, "no request is " + std::to_string(length) + " bytes long");
        }
        if (bytes.size() - offset - LENGTH_SIZE < length) {
            refuse(offset, "a request of " + std::to_string(length) + " bytes is cut short");
        }
        const auto first = bytes.begin() + static_cast<ptrdiff_t>(offset + LENGTH_SIZE);
        requests.emplace_back(first, first + length);
        offset += LENGTH_SIZE + length;
    }
    return requests;
}

static uint32_t numberAt(const std::vector<uint8_t>& request, size_t offset) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; i++) {
        number = (number << 8) | request[offset + i];
    }
    return number;
}

void restoreFile(std::ostream& out, const Daemon& daemon, const std::string& path) {
    // The daemon may append to this very file while it is replayed: all of it is read before.
    const auto requests = splitRecord(readFile(path, LONGEST_RECORD));
    size_t refused = 0;
    Pacer pacer;
    for (const auto& request : requests) {
        pacer.before(
            Pacer::workOf(numberAt(request, OFFSET_SELECTOR), numberAt(request, OFFSET_ATTRIBUTE)));
        refused += daemon.replay(request) != 0 ? 1 : 0;
    }
    pacer.end();
    out << requests.size() << " requests replayed, " << refused << " refused\n";
}
