// The command server: management requests on the local stream socket.
//
// A connection carries one request and one reply, each a length in host byte order and a message.
// A message names a function (get, set, sync, or a step of a walk on one of the four tables), an
// attribute, up to two indices and a value. It is decoded, served, and rewritten in place into the
// reply, so the reply is as long as the request and a client leaves the room that it wants.
//
// Set requests are appended to the restore file as they came, before they are looked at further, so
// that a later start of the switch can replay them.

#include "mstp_command_server.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "mstp/context.h"
#include "mstp_debug.h"
#include "mstp_main.h"
#include "mstp_nm.h"
#include "platform/adr.h"
#include "platform/octets.h"

static constexpr int32_t REQUEST_MINIMUM = 26;
static constexpr int32_t LOW_WATER_MARK = 30;
static constexpr uint32_t LENGTH_SIZE = 4;
static constexpr uint32_t INDEX_HEADER_SIZE = 3;
static constexpr uint16_t INT32_SIZE = 4;
static constexpr uint16_t PAIR_SIZE = 8;
static constexpr mode_t RESTORE_FILE_MODE = 0644;

/// A request as decoded.
struct tRequest {
    uint32_t function;
    uint32_t attribute;
    tMstpXstPortIndex index; ///< the one index of ports and instances stands in both fields
    uint32_t valuePosition;  ///< where the value item begins
    uint8_t type;
    octetstring octets;                  ///< type 0: within the request; of a get, within `answer`
    uint32_t pair[2];                    ///< types 2 (the first) and 4
    uint8_t answer[MSTP_VLAN_LIST_SIZE]; ///< a get's octets, before it shows whether they fit
};

// ---- the restore file

static bool isRecorded(uint32_t function) {
    switch (function) {
    case MSTP_GEN_GETAPI:
    case MSTP_GEN_SYNCAPI:
    case MSTP_PORT_GETAPI:
    case MSTP_PORT_SYNCAPI:
    case MSTP_XST_GETAPI:
    case MSTP_XST_SYNCAPI:
    case MSTP_XSTPORT_GETAPI:
        return false;
    default:
        return function < MSTP_XSTPORT_SYNCAPI || function > MSTP_XSTPORT_GETNEXT;
    }
}

/// Appends length and request, whole or not at all.
static void appendWhole(int32_t fd, const uint8_t* buf, uint32_t len) {
    const off_t end = lseek(fd, 0, SEEK_END);
    if (end < 0) {
        return;
    }
    iovec parts[2] = {{&len, LENGTH_SIZE}, {const_cast<uint8_t*>(buf), len}};
    const ssize_t written = writev(fd, parts, 2);
    if (written != static_cast<ssize_t>(LENGTH_SIZE) + static_cast<ssize_t>(len)) {
        [[maybe_unused]] const int32_t cut = ftruncate(fd, end);
    }
}

static void record(const uint8_t* buf, uint32_t len) {
    char path[MSTP_PATH_SIZE];
    if (mstpRunPath(path, "mstpCmd.restore") != 0) {
        return;
    }
    const int32_t fd = open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, RESTORE_FILE_MODE);
    if (fd < 0) {
        return;
    }
    appendWhole(fd, buf, len);
    close(fd);
}

// ---- decoding

static uint8_t indexCount(uint32_t function) {
    if (function <= MSTP_GEN_SYNCAPI) {
        return 0;
    }
    const bool xstPort = (function >= MSTP_XSTPORT_GETAPI && function <= MSTP_XSTPORT_SYNCAPI) ||
                         function >= MSTP_XSTPORT_GETFIRST;
    return xstPort ? 2 : 1;
}

static bool decodeIndexItem(tAdrStream* stream, uint32_t* index) {
    return adr_offset(stream, INDEX_HEADER_SIZE) == 0 && adr_getuint32(stream, index) == 0;
}

static bool decodeIndex(tAdrStream* stream, tRequest* request) {
    uint8_t tag = 0;
    uint8_t count = 0;
    if (adr_getchar(stream, &tag) != 0 || tag != ADR_TAG_INDEX) {
        printf("\r\n charVal %d err", tag);
        return false;
    }
    adr_getchar(stream, &count);
    if (request->function < MSTP_GEN_GETAPI || request->function > MSTP_XSTPORT_GETNEXT) {
        char number[16];
        snprintf(number, sizeof number, "%u", request->function);
        printf("\r\n func %s err !", number);
        return false;
    }
    if (count != indexCount(request->function)) {
        printf("\r\n indexNum %d err !", count);
        return false;
    }
    // One item stands here also when there is no index.
    if (!decodeIndexItem(stream, &request->index.xstId)) {
        return false;
    }
    request->index.unit = request->index.xstId;
    return count < 2 || decodeIndexItem(stream, &request->index.unit);
}

static bool decodeIntegers(tAdrStream* stream, tRequest* request, uint16_t length,
                           uint16_t expected) {
    if (length != expected) {
        mstpDebug("\r\n shortVal %d err !", length);
        return false;
    }
    for (uint32_t i = 0; i < expected / INT32_SIZE; i++) {
        if (adr_getuint32(stream, &request->pair[i]) != 0) {
            return false;
        }
    }
    return true;
}

static bool isGet(uint32_t function) {
    return function == MSTP_GEN_GETAPI || function == MSTP_PORT_GETAPI ||
           function == MSTP_XST_GETAPI || function == MSTP_XSTPORT_GETAPI;
}

static bool decodeOctets(tAdrStream* stream, tRequest* request, uint16_t length) {
    uint8_t* bytes = stream->buf + adr_count(stream);
    request->octets = {reinterpret_cast<int8_t*>(bytes), length};
    if (isGet(request->function)) {
        request->octets = {reinterpret_cast<int8_t*>(request->answer), 0};
    }
    return adr_offset(stream, length) == 0;
}

static bool decodeValue(tAdrStream* stream, tRequest* request) {
    uint8_t tag = 0;
    uint16_t length = 0;
    request->valuePosition = adr_count(stream);
    if (adr_getchar(stream, &tag) != 0 || tag != ADR_TAG_VALUE) {
        mstpDebug("\r\n charVal %d err !", tag);
        return false;
    }
    if (adr_getchar(stream, &request->type) != 0 || adr_getushort(stream, &length) != 0) {
        return false;
    }
    switch (request->type) {
    case ADR_TYPE_OCTETS:
        return decodeOctets(stream, request, length);
    case ADR_TYPE_INT32:
        return decodeIntegers(stream, request, length, INT32_SIZE);
    case ADR_TYPE_PAIR:
        return decodeIntegers(stream, request, length, PAIR_SIZE);
    default:
        return true;
    }
}

static bool decode(tAdrStream* stream, tRequest* request, uint32_t len) {
    if (adr_decodefunc(stream, &request->function) != 0) {
        printf("\r\n ADR_DECODE_FUNC failed ");
        return false;
    }
    if (stream->flag == nullptr && isRecorded(request->function)) {
        record(stream->buf, len);
    }
    int32_t retcode = 0;
    if (adr_decoderetcode(stream, &retcode) != 0) {
        printf("\r\n ADR_DECODE_RETCODE failed ");
        return false;
    }
    if (adr_decodecmd(stream, &request->attribute) != 0) {
        printf("\r\n ADR_DECODE_CMD failed!");
        return false;
    }
    return decodeIndex(stream, request) && decodeValue(stream, request);
}

// ---- serving

static bool wantsOctets(const tRequest* request) {
    switch (request->function) {
    case MSTP_GEN_GETAPI:
    case MSTP_GEN_SETAPI:
    case MSTP_GEN_SYNCAPI:
        return mstpGeneralIsOctets(request->attribute);
    case MSTP_PORT_GETAPI:
    case MSTP_PORT_SETAPI:
    case MSTP_PORT_SYNCAPI:
        return mstpPortIsOctets(request->attribute);
    case MSTP_XST_GETAPI:
    case MSTP_XST_SETAPI:
    case MSTP_XST_SYNCAPI:
        return mstpXstIsOctets(request->attribute);
    default:
        return mstpXstPortIsOctets(request->attribute);
    }
}

/// The value as the operations take it (walks take none): none when the request carries another
/// kind than the attribute has, for an operation would take one for the other.
static void* valueOf(tRequest* request) {
    switch (request->type) {
    case ADR_TYPE_OCTETS:
        return wantsOctets(request) ? &request->octets : nullptr;
    case ADR_TYPE_INT32:
    case ADR_TYPE_PAIR:
        return wantsOctets(request) ? nullptr : request->pair;
    default:
        return nullptr;
    }
}

static int32_t serve(tRequest* request) {
    const uint32_t attribute = request->attribute;
    tMstpXstPortIndex* index = &request->index;
    tMstpXstPortIndex key = request->index;
    void* value = valueOf(request);
    switch (request->function) {
    case MSTP_GEN_GETAPI:
        return mstpGeneralGetApi(0, attribute, value);
    case MSTP_GEN_SETAPI:
        return mstpGeneralSetApi(0, attribute, value);
    case MSTP_GEN_SYNCAPI:
        return mstpGeneralSyncApi(0, attribute, value);
    case MSTP_PORT_GETAPI:
        return mstpPortGetApi(index->unit, attribute, value);
    case MSTP_PORT_SETAPI:
        return mstpPortSetApi(index->unit, attribute, value);
    case MSTP_PORT_SYNCAPI:
        return mstpPortSyncApi(index->unit, attribute, value);
    case MSTP_XST_GETAPI:
        return mstpXstGetApi(index->xstId, attribute, value);
    case MSTP_XST_SETAPI:
        return mstpXstSetApi(index->xstId, attribute, value);
    case MSTP_XST_SYNCAPI:
        return mstpXstSyncApi(index->xstId, attribute, value);
    case MSTP_XSTPORT_GETAPI:
        return mstpXstPortGetApi(index, attribute, value);
    case MSTP_XSTPORT_SETAPI:
        return mstpXstPortSetApi(index, attribute, value);
    case MSTP_XSTPORT_SYNCAPI:
        return mstpXstPortSyncApi(index, attribute, value);
    case MSTP_PORT_GETFIRST:
        return mstpPortGetFirst(&index->unit);
    case MSTP_PORT_GETNEXT:
        return mstpPortGetNext(&key.unit, &index->unit);
    case MSTP_XST_GETFIRST:
        return mstpXstGetFirst(&index->xstId);
    case MSTP_XST_GETNEXT:
        return mstpXstGetNext(&key.xstId, &index->xstId);
    case MSTP_XSTPORT_GETFIRST:
        return mstpXstPortGetFirst(index);
    default:
        return mstpXstPortGetNext(&key, index);
    }
}

// ---- the reply

static void encodeInt32(tAdrStream* stream, uint32_t value) {
    adr_encodedata(stream, ADR_TYPE_INT32, INT32_SIZE, &value);
}

static void encodeValue(tAdrStream* stream, const tRequest* request) {
    adr_pos(stream, request->valuePosition);
    switch (request->type) {
    case ADR_TYPE_OCTETS:
        adr_encodedata(stream, ADR_TYPE_OCTETS, static_cast<uint16_t>(request->octets.len),
                       request->octets.pBuf);
        return;
    case ADR_TYPE_INT32:
        encodeInt32(stream, request->pair[0]);
        return;
    default:
        adr_encodedata(stream, ADR_TYPE_PAIR, PAIR_SIZE, request->pair);
        return;
    }
}

static void encodeFoundIndex(tAdrStream* stream, const tRequest* request) {
    if (request->type != ADR_TYPE_INT32) {
        return;
    }
    adr_pos(stream, request->valuePosition);
    switch (request->function) {
    case MSTP_PORT_GETFIRST:
    case MSTP_PORT_GETNEXT:
        encodeInt32(stream, request->index.unit);
        return;
    case MSTP_XST_GETFIRST:
    case MSTP_XST_GETNEXT:
        encodeInt32(stream, request->index.xstId);
        return;
    default:
        encodeInt32(stream, request->index.xstId);
        encodeInt32(stream, request->index.unit);
        return;
    }
}

static void encodeAnswer(tAdrStream* stream, const tRequest* request) {
    if (isGet(request->function)) {
        encodeValue(stream, request);
    } else if (request->function >= MSTP_PORT_GETFIRST) {
        encodeFoundIndex(stream, request);
    }
}

int32_t mstpCmdProcess(uint8_t* buf, int32_t len, void* flag) {
    if (len < REQUEST_MINIMUM) {
        printf("\r\n len %d err!", len);
        return 0;
    }
    const auto length = static_cast<uint32_t>(len);
    tAdrStream stream = {};
    stream.limit = length;
    adr_start(&stream, buf, flag);
    tRequest request = {};
    if (!decode(&stream, &request, length)) {
        return 0;
    }
    const int32_t result = serve(&request);
    adr_pos(&stream, ADR_OFFSET_RETCODE);
    adr_int32(&stream, result);
    if (result == 0) {
        encodeAnswer(&stream, &request);
    }
    adr_pos(&stream, length);
    return static_cast<int32_t>(adr_count(&stream));
}

// ---- the connection

/// One receive of exactly @p length bytes. A shorter one is an error of its own.
static bool receive(int32_t fd, void* buffer, uint32_t length) {
    const ssize_t received = recv(fd, buffer, length, 0);
    if (received >= 0 && received != static_cast<ssize_t>(length)) {
        errno = EBADMSG;
    }
    return received == static_cast<ssize_t>(length);
}

/// @return false when no request came, which has been reported
static bool receiveRequest(int32_t fd, uint8_t* buffer, uint32_t* length) {
    if (setsockopt(fd, SOL_SOCKET, SO_RCVLOWAT, &LOW_WATER_MARK, sizeof LOW_WATER_MARK) != 0) {
        perror("\r\n mstpCmdServer setsockopt failed!");
        return false;
    }
    if (!receive(fd, length, LENGTH_SIZE)) {
        perror("\r\n mstpCmdServer recv buflen failed!");
        return false;
    }
    if (*length > MSTP_CMD_SIZE) {
        errno = EMSGSIZE;
        perror("\r\n mstpCmdServer recv buf failed!");
        return false;
    }
    // A receive of nothing would wait for more.
    if (*length > 0 && !receive(fd, buffer, *length)) {
        perror("\r\n mstpCmdServer recv buf failed!");
        return false;
    }
    return true;
}

// The reply goes without an address: Linux refuses one on a connected stream socket. A client that
// has left must not kill the daemon by a signal.
static int32_t sendReply(int32_t fd, uint8_t* buffer, uint32_t length) {
    iovec parts[2] = {{&length, LENGTH_SIZE}, {buffer, length}};
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    if (sendmsg(fd, &message, MSG_NOSIGNAL) <
        static_cast<ssize_t>(LENGTH_SIZE) + static_cast<ssize_t>(length)) {
        perror("\r\n mstpCmdServer sendto failed!");
        return -1;
    }
    return 0;
}

static int32_t serveConnection(int32_t fd) {
    uint8_t buffer[MSTP_CMD_SIZE];
    uint32_t length = 0;
    if (!receiveRequest(fd, buffer, &length)) {
        return -1;
    }
    const int32_t reply = mstpCmdProcess(buffer, static_cast<int32_t>(length), nullptr);
    if (reply == 0) {
        errno = EBADMSG;
        perror("\r\n mstpCmdProcess failed!");
    }
    return sendReply(fd, buffer, static_cast<uint32_t>(reply));
}

int32_t mstpCmdServer() {
    const int32_t fd = accept(gMstp.cmdSocketFd, nullptr, nullptr);
    if (fd < 0) {
        perror("\r\n mstpCmdServer accept failed!");
        return -1;
    }
    const int32_t result = serveConnection(fd);
    close(fd);
    return result;
}
