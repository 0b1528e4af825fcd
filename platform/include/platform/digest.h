#pragma once

#include <cstdint>

/// HMAC-MD5 (RFC 2104) of @p text under @p key; writes 16 bytes to @p digest.
void hmac_md5(const uint8_t* text, uint32_t textLength, const uint8_t* key, uint32_t keyLength,
              uint8_t* digest);
