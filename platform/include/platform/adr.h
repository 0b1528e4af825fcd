#pragma once

/// The codec of management messages. Integers inside a message are big-endian.
///
///   offset  size     content
///   0       4        41 44 52 31 ("ADR1")
///   4       4        request number, chosen by the client, returned unchanged
///   8       4        function selector
///   12      4        return code: 0 in a request, the operation's result in the reply
///   16      4        command: the attribute
///   20      1        1: the index section begins
///   21      1        number of indices: 0, 1 or 2
///   22      7 or 14  index items: type 02, length 00 04, int32 each; with 0 indices one item
///                    still stands here and its value is ignored
///   29, 36  4        3: the value item; type; length (16 bits)
///   then    length   the value: type 0 octets, type 2 int32, type 4 two int32
///   then    any      room that the client leaves for a longer reply
///
/// Every call returns 0 on success and -1 on failure unless told otherwise. A read past the limit
/// fails; a write past it is dropped whole.

#include <cstdint>

enum : uint8_t {
    ADR_TAG_INDEX = 1,
    ADR_TAG_VALUE = 3,
    ADR_TYPE_OCTETS = 0,
    ADR_TYPE_INT32 = 2,
    ADR_TYPE_PAIR = 4,
};

enum : uint32_t {
    ADR_OFFSET_FUNC = 8,
    ADR_OFFSET_RETCODE = 12,
    ADR_OFFSET_CMD = 16,
    ADR_OFFSET_INDEX = 20,
    ADR_INDEX_ITEM_SIZE = 7,
    ADR_VALUE_HEADER_SIZE = 4,
};

struct tAdrStream {
    uint8_t* buf;
    uint32_t pos;
    uint32_t limit; ///< the message's length; set by the caller before adr_start
    void* flag;
};

/// Starts @p stream at the first byte of @p buf. @p flag is null for a live request.
void adr_start(tAdrStream* stream, uint8_t* buf, void* flag);

/// Checks the first four bytes and reads the selector; the position is then at the return code.
int32_t adr_decodefunc(tAdrStream* stream, uint32_t* function);
int32_t adr_decoderetcode(tAdrStream* stream, int32_t* retcode);
int32_t adr_decodecmd(tAdrStream* stream, uint32_t* command);

int32_t adr_getchar(tAdrStream* stream, uint8_t* value);
int32_t adr_getushort(tAdrStream* stream, uint16_t* value);
int32_t adr_getint32(tAdrStream* stream, int32_t* value);
int32_t adr_getuint32(tAdrStream* stream, uint32_t* value);

/// Moves the position @p bytes forward.
int32_t adr_offset(tAdrStream* stream, uint32_t bytes);

/// The position, in bytes from the message's start.
uint32_t adr_count(const tAdrStream* stream);

/// Sets the position.
int32_t adr_pos(tAdrStream* stream, uint32_t position);

/// Writes an integer at the position.
int32_t adr_int32(tAdrStream* stream, int32_t value);

/// Writes a whole value item: the byte 3, @p type, @p length, then @p length bytes of @p data:
/// octets as they are for type 0, host-order 32-bit integers for types 2 and 4.
int32_t adr_encodedata(tAdrStream* stream, uint8_t type, uint16_t length, const void* data);
