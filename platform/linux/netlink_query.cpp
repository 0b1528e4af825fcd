// Questions to the kernel about its interfaces.

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>

#include "netlink.h"
#include "netlink_request.h"

namespace {

using platform::Bytes;
using platform::LinkInfo;
using platform::LinkVisitor;
using platform::NetlinkRequest;

// Statistics are left out of the answers: they are most of their bytes.
void beginQuestion(NetlinkRequest* question, uint16_t flags, uint8_t family, uint32_t ifindex) {
    ifinfomsg body = {};
    body.ifi_family = family;
    body.ifi_index = static_cast<int>(ifindex);
    platform::requestBegin(question, RTM_GETLINK, flags, &body, sizeof body);
    platform::requestPutValue<uint32_t>(question, IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
}

struct Visit {
    LinkVisitor visit;
    void* context;
};

void visitLink(const Bytes& message, void* context) {
    const auto* to = static_cast<const Visit*>(context);
    LinkInfo link;
    if (platform::messageHeader(message).nlmsg_type == RTM_NEWLINK &&
        platform::readLink(message, &link)) {
        to->visit(link, to->context);
    }
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
    OneLink one = {link, ifindex, false};
    Visit visit = {keepLink, &one};
    NetlinkRequest question;
    beginQuestion(&question, 0, AF_UNSPEC, ifindex);
    const int32_t error = netlinkRequest(&question, visitLink, &visit);
    if (error != 0) {
        return error;
    }
    return one.found ? 0 : ENODEV;
}

int32_t visitLinks(LinkVisitor visit, void* context, uint8_t family) {
    Visit all = {visit, context};
    NetlinkRequest question;
    beginQuestion(&question, NLM_F_DUMP, family, 0);
    return netlinkRequest(&question, visitLink, &all);
}

} // namespace platform
