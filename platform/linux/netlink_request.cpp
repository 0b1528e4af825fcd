// Requests go through a route socket of their own, so that their answers never mix with the events
// that the daemon waits for. An answer is known by the request's number; whatever else arrives,
// such as the late answer to an earlier request, is passed over.
//
// A request that changes something, and one that asks for a single thing, end with an
// acknowledgement: an error message whose error may be 0. A table ends with a message of its own.

#include "netlink_request.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

namespace {

using platform::Bytes;
using platform::MessageVisitor;
using platform::NetlinkRequest;

constexpr uint32_t kAnswerSize = 65536;
constexpr uint32_t kDatagramsMax = 65536; // of one answer
constexpr uint32_t kDumpAttempts = 4;
constexpr time_t kPatienceSeconds = 2;
constexpr uint32_t kAlignment = 4;

int32_t gSocket = -1;
uint32_t gNumber;
platform::NetlinkPeer gPeer;
alignas(8) uint8_t gAnswer[kAnswerSize];

bool openSocket() {
    if (gSocket >= 0) {
        return true;
    }
    gSocket = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    const timeval patience = {kPatienceSeconds, 0};
    setsockopt(gSocket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    const int brief = 1; // no copy of the request in an acknowledgement
    setsockopt(gSocket, SOL_NETLINK, NETLINK_CAP_ACK, &brief, sizeof brief);
    return gSocket >= 0;
}

struct Answer {
    MessageVisitor visit;
    void* context;
    bool interrupted; // the kernel's tables changed while it answered
    bool complete;
    int32_t error;
};

// The errno value of an error message, 0 for a mere acknowledgement. The end of a table has one,
// too, in kernels that tell.
int32_t errorOf(const Bytes& message) {
    int32_t error = 0;
    if (message.length < NLMSG_HDRLEN + sizeof error) {
        return platform::messageHeader(message).nlmsg_type == NLMSG_DONE ? 0 : EBADMSG;
    }
    memcpy(&error, message.data + NLMSG_HDRLEN, sizeof error);
    return -error;
}

void takeMessage(const Bytes& message, Answer* answer) {
    const nlmsghdr header = platform::messageHeader(message);
    if (header.nlmsg_seq != gNumber) {
        return;
    }
    answer->interrupted = answer->interrupted || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
    if (header.nlmsg_type == NLMSG_ERROR || header.nlmsg_type == NLMSG_DONE) {
        answer->error = errorOf(message);
        answer->complete = true;
        return;
    }
    if (answer->visit != nullptr) {
        answer->visit(message, answer->context);
    }
}

int32_t receiveDatagram(Bytes* datagram) {
    const ssize_t length = recv(gSocket, gAnswer, sizeof gAnswer, MSG_TRUNC);
    if (length < 0) {
        return errno;
    }
    if (static_cast<size_t>(length) > sizeof gAnswer) {
        return EMSGSIZE;
    }
    *datagram = {gAnswer, static_cast<uint32_t>(length)};
    return 0;
}

int32_t takeAnswer(Answer* answer) {
    for (uint32_t i = 0; i < kDatagramsMax && !answer->complete; i++) {
        Bytes datagram;
        const int32_t error = receiveDatagram(&datagram);
        if (error == EINTR) {
            continue;
        }
        if (error != 0) {
            return error;
        }
        Bytes message;
        while (!answer->complete && platform::nextMessage(&datagram, &message)) {
            takeMessage(message, answer);
        }
    }
    return answer->complete ? answer->error : EBADMSG;
}

nlmsghdr headerOf(const NetlinkRequest* request) {
    return platform::messageHeader({request->data, request->length});
}

void writeHeader(NetlinkRequest* request, const nlmsghdr& header) {
    memcpy(request->data, &header, sizeof header);
}

int32_t askKernel(NetlinkRequest* request, MessageVisitor visit, void* context) {
    if (!openSocket()) {
        return errno;
    }
    for (uint32_t attempt = 0; attempt < kDumpAttempts; attempt++) {
        nlmsghdr header = headerOf(request);
        header.nlmsg_seq = ++gNumber;
        writeHeader(request, header);
        if (send(gSocket, request->data, request->length, 0) < 0) {
            return errno;
        }
        Answer answer = {visit, context, false, false, 0};
        const int32_t error = takeAnswer(&answer);
        if (error != 0 || !answer.interrupted) {
            return error;
        }
    }
    return EINTR;
}

// Appends @p length bytes and the padding behind them.
void append(NetlinkRequest* request, const void* bytes, uint32_t length) {
    const uint32_t padded = (length + kAlignment - 1) & ~(kAlignment - 1);
    if (request->tooLong || length > platform::NETLINK_REQUEST_SIZE ||
        padded > platform::requestRoom(request)) {
        request->tooLong = true;
        return;
    }
    if (length != 0) {
        memcpy(request->data + request->length, bytes, length);
    }
    memset(request->data + request->length + length, 0, padded - length);
    request->length += padded;
}

} // namespace

namespace platform {

uint32_t requestRoom(const NetlinkRequest* request) {
    return NETLINK_REQUEST_SIZE - request->length;
}

void requestBegin(NetlinkRequest* request, uint16_t type, uint16_t flags, const void* body,
                  uint32_t length) {
    request->length = 0;
    request->tooLong = false;
    nlmsghdr header = {};
    header.nlmsg_type = type;
    header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    if ((flags & NLM_F_DUMP) != NLM_F_DUMP) {
        header.nlmsg_flags |= NLM_F_ACK;
    }
    append(request, &header, sizeof header);
    append(request, body, length);
}

void requestPut(NetlinkRequest* request, uint16_t type, const void* value, uint32_t length) {
    const rtattr header = {static_cast<uint16_t>(sizeof(rtattr) + length), type};
    append(request, &header, sizeof header);
    append(request, value, length);
}

void requestPutAll(NetlinkRequest* request, const void* attributes, uint32_t length) {
    append(request, attributes, length);
}

uint32_t requestNest(NetlinkRequest* request, uint16_t type) {
    const uint32_t nest = request->length;
    requestPut(request, type | NLA_F_NESTED, nullptr, 0);
    return nest;
}

void requestEndNest(NetlinkRequest* request, uint32_t nest) {
    if (request->tooLong) {
        return;
    }
    const auto length = static_cast<uint16_t>(request->length - nest);
    memcpy(request->data + nest, &length, sizeof length);
}

int32_t netlinkRequest(NetlinkRequest* request, MessageVisitor visit, void* context) {
    if (request->tooLong) {
        return EMSGSIZE;
    }
    nlmsghdr header = headerOf(request);
    header.nlmsg_len = request->length;
    writeHeader(request, header);
    if (gPeer != nullptr) {
        return gPeer({request->data, request->length}, visit, context);
    }
    return askKernel(request, visit, context);
}

void setNetlinkPeer(NetlinkPeer peer) {
    gPeer = peer;
}

} // namespace platform
