// The codec of management messages walks over one buffer that is first the request and then the
// reply. Every step asks whether the bytes it needs lie before the stream's limit, the message's
// length: a step that would cross it fails and leaves position and buffer as they were. A request
// cut short is therefore found by whichever read meets its end, and a reply never outgrows it.

#include "platform/adr.h"

#include <cstring>

namespace {

constexpr uint8_t kMagic[4] = {0x41, 0x44, 0x52, 0x31};
constexpr uint32_t kMagicSize = 4;
constexpr uint32_t kInt32Size = 4;

bool hasRoom(const tAdrStream* stream, uint32_t bytes) {
    return stream->pos <= stream->limit && stream->limit - stream->pos >= bytes;
}

// Reads @p bytes bytes, at most 4, as a big-endian number.
int32_t readNumber(tAdrStream* stream, uint32_t bytes, uint32_t* value) {
    if (!hasRoom(stream, bytes)) {
        return -1;
    }
    uint32_t number = 0;
    for (uint32_t i = 0; i < bytes; i++) {
        number = (number << 8) | stream->buf[stream->pos + i];
    }
    stream->pos += bytes;
    *value = number;
    return 0;
}

// The caller has made sure of the room.
void putNumber(tAdrStream* stream, uint32_t bytes, uint32_t value) {
    for (uint32_t i = 0; i < bytes; i++) {
        stream->buf[stream->pos + i] = static_cast<uint8_t>(value >> (8 * (bytes - 1 - i)));
    }
    stream->pos += bytes;
}

void putIntegers(tAdrStream* stream, uint32_t count, const void* data) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (uint32_t i = 0; i < count; i++) {
        uint32_t value;
        memcpy(&value, bytes + i * kInt32Size, kInt32Size);
        putNumber(stream, kInt32Size, value);
    }
}

void putOctets(tAdrStream* stream, uint32_t length, const void* data) {
    if (length != 0) {
        memmove(stream->buf + stream->pos, data, length);
        stream->pos += length;
    }
}

bool holdsIntegers(uint8_t type) {
    return type == ADR_TYPE_INT32 || type == ADR_TYPE_PAIR;
}

} // namespace

void adr_start(tAdrStream* stream, uint8_t* buf, void* flag) {
    stream->buf = buf;
    stream->pos = 0;
    stream->flag = flag;
}

int32_t adr_decodefunc(tAdrStream* stream, uint32_t* function) {
    if (!hasRoom(stream, ADR_OFFSET_RETCODE) ||
        memcmp(stream->buf + stream->pos, kMagic, kMagicSize) != 0) {
        return -1;
    }
    stream->pos += ADR_OFFSET_FUNC;
    return adr_getuint32(stream, function);
}

int32_t adr_decoderetcode(tAdrStream* stream, int32_t* retcode) {
    return adr_getint32(stream, retcode);
}

int32_t adr_decodecmd(tAdrStream* stream, uint32_t* command) {
    return adr_getuint32(stream, command);
}

int32_t adr_getchar(tAdrStream* stream, uint8_t* value) {
    uint32_t number;
    if (readNumber(stream, 1, &number) != 0) {
        return -1;
    }
    *value = static_cast<uint8_t>(number);
    return 0;
}

int32_t adr_getushort(tAdrStream* stream, uint16_t* value) {
    uint32_t number;
    if (readNumber(stream, 2, &number) != 0) {
        return -1;
    }
    *value = static_cast<uint16_t>(number);
    return 0;
}

int32_t adr_getint32(tAdrStream* stream, int32_t* value) {
    uint32_t number;
    if (readNumber(stream, kInt32Size, &number) != 0) {
        return -1;
    }
    *value = static_cast<int32_t>(number);
    return 0;
}

int32_t adr_getuint32(tAdrStream* stream, uint32_t* value) {
    return readNumber(stream, kInt32Size, value);
}

int32_t adr_offset(tAdrStream* stream, uint32_t bytes) {
    if (!hasRoom(stream, bytes)) {
        return -1;
    }
    stream->pos += bytes;
    return 0;
}

uint32_t adr_count(const tAdrStream* stream) {
    return stream->pos;
}

int32_t adr_pos(tAdrStream* stream, uint32_t position) {
    if (position > stream->limit) {
        return -1;
    }
    stream->pos = position;
    return 0;
}

int32_t adr_int32(tAdrStream* stream, int32_t value) {
    if (!hasRoom(stream, kInt32Size)) {
        return -1;
    }
    putNumber(stream, kInt32Size, static_cast<uint32_t>(value));
    return 0;
}

int32_t adr_encodedata(tAdrStream* stream, uint8_t type, uint16_t length, const void* data) {
    if (!hasRoom(stream, ADR_VALUE_HEADER_SIZE + length)) {
        return -1;
    }
    if (holdsIntegers(type) && length % kInt32Size != 0) {
        return -1;
    }
    putNumber(stream, 1, ADR_TAG_VALUE);
    putNumber(stream, 1, type);
    putNumber(stream, 2, length);
    if (holdsIntegers(type)) {
        putIntegers(stream, length / kInt32Size, data);
    } else {
        putOctets(stream, length, data);
    }
    return 0;
}
