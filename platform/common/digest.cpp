// HMAC-MD5 as RFC 2104 defines it, which 13.7 of IEEE 802.1Q-2005 uses for the configuration
// digest of an MST region. The hashing itself is nettle's.

#include "platform/digest.h"

#include <nettle/hmac.h>

void hmac_md5(const uint8_t* text, uint32_t textLength, const uint8_t* key, uint32_t keyLength,
              uint8_t* digest) {
    hmac_md5_ctx context;
    hmac_md5_set_key(&context, keyLength, key);
    hmac_md5_update(&context, textLength, text);
    hmac_md5_digest(&context, MD5_DIGEST_SIZE, digest);
}
