// Talks to the daemon over its local socket: a length in host byte order, then a message of
// platform/adr.h, both ways. Every wait has an end: a daemon that hangs must not hang its operator.

#include "daemon.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "mstp/management.h"
#include "platform/adr.h"

static constexpr time_t PATIENCE_SECONDS = 5;
static constexpr size_t LONGEST_OCTETS = 512;
static constexpr size_t WALK_ROOM = 16;
static constexpr size_t NUMBER_SIZE = 4;

namespace {

class Socket {
  public:
    Socket() : m_fd(socket(AF_UNIX, SOCK_STREAM, 0)) {}
    ~Socket() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const { return m_fd; }

  private:
    int m_fd;
};

std::string reasonOf(int error, const std::string& path) {
    if (error == EACCES) {
        return "may not use " + path + ": run as the user that runs the daemon (root, mostly)";
    }
    if (error == ENOENT) {
        return "no daemon at " + path +
               ": start mstp-daemon, or name its folder with --run-dir or MSTP_RUN_DIR";
    }
    if (error == ECONNREFUSED) {
        return "nobody answers at " + path + ": the daemon ended; start mstp-daemon again";
    }
    if (error == EAGAIN || error == EWOULDBLOCK) {
        return "the daemon at " + path + " does not answer: look at its log, or restart it";
    }
    return "cannot talk to the daemon at " + path + ": " + strerror(error);
}

void receiveAll(int fd, void* buffer, size_t length, const std::string& path) {
    auto* bytes = static_cast<uint8_t*>(buffer);
    while (length > 0) {
        const ssize_t count = recv(fd, bytes, length, 0);
        if (count < 0) {
            throw Unreachable(reasonOf(errno, path));
        }
        if (count == 0) {
            throw Unreachable("the daemon at " + path + " closed the connection without an answer");
        }
        bytes += count;
        length -= static_cast<size_t>(count);
    }
}

void append32(std::vector<uint8_t>& bytes, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
}

} // namespace

std::string Daemon::defaultRunFolder() {
    const char* folder = getenv("MSTP_RUN_DIR");
    return folder != nullptr && folder[0] != '\0' ? folder : "/tmp";
}

std::vector<uint8_t> Daemon::exchange(const std::vector<uint8_t>& message) const {
    const std::string path = socketPath();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw Unreachable("the path " + path + " is too long for a socket");
    }
    memcpy(address.sun_path, path.c_str(), path.size() + 1);

    const Socket socket;
    const timeval patience = {PATIENCE_SECONDS, 0};
    setsockopt(socket.fd(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket.fd(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw Unreachable(reasonOf(errno, path));
    }

    // The whole request in one piece: the daemon takes it in one receive.
    const auto length = static_cast<uint32_t>(message.size());
    std::vector<uint8_t> out(sizeof length);
    memcpy(out.data(), &length, sizeof length);
    out.insert(out.end(), message.begin(), message.end());
    if (send(socket.fd(), out.data(), out.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(out.size())) {
        throw Unreachable(reasonOf(errno, path));
    }

    uint32_t answerLength = 0;
    receiveAll(socket.fd(), &answerLength, sizeof answerLength, path);
    if (answerLength > message.size()) {
        throw Unreachable("the daemon at " + path + " answered with a wrong length");
    }
    std::vector<uint8_t> answer(answerLength);
    receiveAll(socket.fd(), answer.data(), answer.size(), path);
    return answer;
}

static std::vector<uint8_t> buildMessage(uint32_t selector, const Keys& keys, uint32_t attribute,
                                         uint8_t type, const std::vector<uint8_t>& value) {
    std::vector<uint8_t> message = {'A', 'D', 'R', '1'};
    append32(message, 1);
    append32(message, selector);
    append32(message, 0);
    append32(message, attribute);
    message.push_back(ADR_TAG_INDEX);
    message.push_back(static_cast<uint8_t>(keys.size()));
    // Without a key one item stands here all the same.
    const Keys items = keys.empty() ? Keys{0} : keys;
    for (const uint32_t key : items) {
        message.insert(message.end(), {ADR_TYPE_INT32, 0, NUMBER_SIZE});
        append32(message, key);
    }
    message.push_back(ADR_TAG_VALUE);
    message.push_back(type);
    message.push_back(static_cast<uint8_t>(value.size() >> 8));
    message.push_back(static_cast<uint8_t>(value.size() & 0xFF));
    message.insert(message.end(), value.begin(), value.end());
    return message;
}

// Reads the value items of a reply: one, or two where a walk answers with two keys.
static void readValues(std::vector<uint8_t>& message, uint32_t position, Reply& reply) {
    tAdrStream stream = {};
    stream.limit = static_cast<uint32_t>(message.size());
    adr_start(&stream, message.data(), nullptr);
    adr_pos(&stream, position);
    uint8_t tag = 0;
    uint8_t type = 0;
    uint16_t length = 0;
    while (adr_getchar(&stream, &tag) == 0 && tag == ADR_TAG_VALUE &&
           adr_getchar(&stream, &type) == 0 && adr_getushort(&stream, &length) == 0) {
        const uint32_t start = adr_count(&stream);
        if (adr_offset(&stream, length) != 0) {
            return;
        }
        if (type == ADR_TYPE_OCTETS) {
            reply.octets.assign(message.begin() + start, message.begin() + start + length);
            return;
        }
        tAdrStream item = stream;
        adr_pos(&item, start);
        for (uint32_t i = 0; i < length / NUMBER_SIZE; i++) {
            uint32_t number = 0;
            adr_getuint32(&item, &number);
            reply.numbers.push_back(number);
        }
    }
}

static Reply readReply(std::vector<uint8_t> message, const Keys& keys) {
    Reply reply;
    if (message.size() < ADR_OFFSET_CMD) {
        return reply;
    }
    tAdrStream stream = {};
    stream.limit = static_cast<uint32_t>(message.size());
    adr_start(&stream, message.data(), nullptr);
    adr_pos(&stream, ADR_OFFSET_RETCODE);
    adr_decoderetcode(&stream, &reply.result);
    if (reply.result == 0) {
        const auto items = static_cast<uint32_t>(keys.size() < 2 ? 1 : 2);
        readValues(message, ADR_OFFSET_INDEX + 2 + items * ADR_INDEX_ITEM_SIZE, reply);
    }
    return reply;
}

Reply Daemon::request(uint32_t selector, const Keys& keys, uint32_t attribute, uint8_t type,
                      const std::vector<uint8_t>& value) const {
    return readReply(exchange(buildMessage(selector, keys, attribute, type, value)), keys);
}

Reply Daemon::getNumber(uint32_t selector, const Keys& keys, uint32_t attribute) const {
    return request(selector, keys, attribute, ADR_TYPE_INT32, std::vector<uint8_t>(NUMBER_SIZE));
}

Reply Daemon::getOctets(uint32_t selector, const Keys& keys, uint32_t attribute) const {
    return request(selector, keys, attribute, ADR_TYPE_OCTETS,
                   std::vector<uint8_t>(LONGEST_OCTETS));
}

Reply Daemon::setNumber(uint32_t selector, const Keys& keys, uint32_t attribute,
                        uint32_t value) const {
    std::vector<uint8_t> bytes;
    append32(bytes, value);
    return request(selector, keys, attribute, ADR_TYPE_INT32, bytes);
}

Reply Daemon::setOctets(uint32_t selector, const Keys& keys, uint32_t attribute,
                        const std::vector<uint8_t>& value) const {
    return request(selector, keys, attribute, ADR_TYPE_OCTETS, value);
}

int32_t Daemon::replay(const std::vector<uint8_t>& request) const {
    return readReply(exchange(request), {}).result;
}

// A walk's request has a number as its value; two keys come back as two items, so room is left
// behind it.
Reply Daemon::walk(uint32_t selector, const Keys& keys, uint32_t count) const {
    std::vector<uint8_t> message =
        buildMessage(selector, keys, 0, ADR_TYPE_INT32, std::vector<uint8_t>(NUMBER_SIZE));
    message.resize(message.size() + WALK_ROOM);
    Reply reply = readReply(exchange(message), keys);
    reply.numbers.resize(count);
    return reply;
}
