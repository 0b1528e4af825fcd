// Both converters of the pre-standard MST BPDU. The input stands once for a frame that was received
// and once for a BPDU that is to be sent, in memory of its exact size; the result must stay inside
// its buffer, keep its own lengths, and survive the way back.

#include <algorithm>
#include <cstring>
#include <vector>

#include "check.h"
#include "mstp/bpdu.h"
#include "mstp_io.h"

using Bytes = std::vector<uint8_t>;

static constexpr uint8_t UNTOUCHED = 0xA5;

static uint32_t big16(const Bytes& bytes, size_t offset) {
    return static_cast<uint32_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

static bool untouchedFrom(const Bytes& bytes, size_t offset) {
    return std::all_of(bytes.begin() + static_cast<ptrdiff_t>(offset), bytes.end(),
                       [](uint8_t byte) { return byte == UNTOUCHED; });
}

// @return the standard form, empty if there is none
static Bytes toStandard(const Bytes& legacy) {
    Bytes out(MSTP_LEGACY_BUFFER_SIZE, UNTOUCHED);
    const int32_t length =
        mstpLegacyBpduToStandard(reinterpret_cast<tMstpBpdu*>(out.data()), legacy.data(),
                                 static_cast<uint32_t>(legacy.size()));
    CHECK(length >= 0 && static_cast<size_t>(length) <= out.size());
    CHECK(untouchedFrom(out, static_cast<size_t>(length)));
    out.resize(static_cast<size_t>(length));
    if (length != 0) {
        CHECK(length >= 102 && (length - 102) % 16 == 0);
        CHECK(big16(out, 36) == static_cast<uint32_t>(length) - 102 + 64);
    }
    return out;
}

// @return the pre-standard form, empty if there is none
static Bytes toLegacy(const Bytes& standard) {
    Bytes in = standard;
    in.resize(std::max(in.size(), sizeof(tMstpBpdu)));
    in.shrink_to_fit();
    Bytes out(MSTP_LEGACY_BUFFER_SIZE, UNTOUCHED);
    const int32_t length =
        mstpStandardBpduToLegacy(out.data(), reinterpret_cast<const tMstpBpdu*>(in.data()),
                                 static_cast<uint32_t>(standard.size()));
    CHECK(length >= 0 && static_cast<size_t>(length) <= out.size());
    CHECK(untouchedFrom(out, static_cast<size_t>(length)));
    out.resize(static_cast<size_t>(length));
    if (length != 0) {
        CHECK(length >= 103 && (length - 103) % 26 == 0);
        CHECK(big16(out, 37) == static_cast<uint32_t>(length) - 103 + 64);
        CHECK(out[36] == UNTOUCHED && out[102] == UNTOUCHED);
    }
    return out;
}

// What a pre-standard BPDU says in standard form is said again after the way there and back.
static void checkWayBack(const Bytes& standard) {
    const Bytes legacy = toLegacy(standard);
    if (legacy.empty()) {
        CHECK(standard.size() > 102 + 16 * 74);
        return;
    }
    CHECK(toStandard(legacy) == standard);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes input(data, data + size);
    input.shrink_to_fit();
    if (input.empty()) {
        return 0;
    }
    const Bytes standard = toStandard(input);
    if (!standard.empty()) {
        checkWayBack(standard);
    }
    toLegacy(input);
    return 0;
}
