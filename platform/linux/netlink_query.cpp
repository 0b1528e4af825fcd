// Questions to the kernel go through a route socket of their own, so that their answers never mix
// with the events that the daemon waits for. An answer is known by the question's number; whatever
// else arrives, such as the late answer to an earlier question, is passed over.

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "netlink.h"

namespace {

using platform::Bytes;
using platform::LinkInfo;
using platform::LinkVisitor;

constexpr uint32_t kAnswerSize = 65536;
constexpr uint32_t kDatagramsMax = 65536; // of one answer
constexpr uint32_t kDumpAttempts = 4;
constexpr time_t kPatienceSeconds = 2;

struct Question {
    nlmsghdr header;
    ifinfomsg body;
    rtattr filterHeader;
    uint32_t filter;
};

int32_t gQuerySocket = -1;
uint32_t gQuestionNumber;
alignas(8) uint8_t gAnswer[kAnswerSize];

bool openQuerySocket() {
    if (gQuerySocket >= 0) {
        return true;
    }
    gQuerySocket = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    const timeval patience = {kPatienceSeconds, 0};
    setsockopt(gQuerySocket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return gQuerySocket >= 0;
}

// Statistics are left out of the answers: they are most of their bytes.
int32_t sendQuestion(uint16_t flags, uint32_t ifindex) {
    if (!openQuerySocket()) {
        return errno;
    }
    Question question = {};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = RTM_GETLINK;
    question.header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | flags);
    question.header.nlmsg_seq = ++gQuestionNumber;
    question.body.ifi_index = static_cast<int>(ifindex);
    question.filterHeader.rta_len = sizeof question.filterHeader + sizeof question.filter;
    question.filterHeader.rta_type = IFLA_EXT_MASK;
    question.filter = RTEXT_FILTER_SKIP_STATS;
    return send(gQuerySocket, &question, sizeof question, 0) < 0 ? errno : 0;
}

int32_t receiveAnswer(Bytes* datagram) {
    const ssize_t length = recv(gQuerySocket, gAnswer, sizeof gAnswer, MSG_TRUNC);
    if (length < 0) {
        return errno;
    }
    if (static_cast<size_t>(length) > sizeof gAnswer) {
        return EMSGSIZE;
    }
    *datagram = {gAnswer, static_cast<uint32_t>(length)};
    return 0;
}

// The errno value of an error message, 0 for a mere acknowledgement.
int32_t errorOf(const Bytes& message) {
    int32_t error = 0;
    if (message.length < NLMSG_HDRLEN + sizeof error) {
        return EBADMSG;
    }
    memcpy(&error, message.data + NLMSG_HDRLEN, sizeof error);
    return -error;
}

struct Answer {
    LinkVisitor visit;
    void* context;
    bool dump;
    bool interrupted; // the kernel's tables changed while it answered
    bool complete;
    int32_t error;
};

void takeMessage(const Bytes& message, Answer* answer) {
    const nlmsghdr header = platform::messageHeader(message);
    if (header.nlmsg_seq != gQuestionNumber) {
        return;
    }
    answer->interrupted = answer->interrupted || (header.nlmsg_flags & NLM_F_DUMP_INTR) != 0;
    if (header.nlmsg_type == NLMSG_ERROR) {
        answer->error = errorOf(message);
        answer->complete = true;
        return;
    }
    if (header.nlmsg_type == NLMSG_DONE) {
        answer->complete = true;
        return;
    }
    LinkInfo link;
    if (header.nlmsg_type == RTM_NEWLINK && platform::readLink(message, &link)) {
        answer->visit(link, answer->context);
        answer->complete = answer->complete || !answer->dump;
    }
}

int32_t takeAnswer(Answer* answer) {
    for (uint32_t i = 0; i < kDatagramsMax && !answer->complete; i++) {
        Bytes datagram;
        const int32_t error = receiveAnswer(&datagram);
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

struct OneLink {
    LinkInfo* link;
    uint32_t ifindex;
    bool found;
};

void keepLink(const LinkInfo& link, void* context) {
    auto* one = static_cast<OneLink*>(context);
    if (link.ifindex == one->ifindex) {
        *one->link = link;
        one->found = true;
    }
}

} // namespace

namespace platform {

int32_t queryLink(uint32_t ifindex, LinkInfo* link) {
    if (ifindex == 0 || ifindex > INT32_MAX) {
        return ENODEV;
    }
    int32_t error = sendQuestion(0, ifindex);
    if (error != 0) {
        return error;
    }
    OneLink one = {link, ifindex, false};
    Answer answer = {keepLink, &one, false, false, false, 0};
    error = takeAnswer(&answer);
    if (error != 0) {
        return error;
    }
    return one.found ? 0 : ENODEV;
}

int32_t visitLinks(LinkVisitor visit, void* context) {
    int32_t error = 0;
    for (uint32_t attempt = 0; attempt < kDumpAttempts; attempt++) {
        error = sendQuestion(NLM_F_DUMP, 0);
        if (error != 0) {
            return error;
        }
        Answer answer = {visit, context, true, false, false, 0};
        error = takeAnswer(&answer);
        if (error != 0 || !answer.interrupted) {
            return error;
        }
    }
    return EINTR;
}

} // namespace platform
