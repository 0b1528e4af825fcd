#pragma once

/// For tests of received information: BPDUs as the parser leaves them, identifiers from bytes.

#include <gtest/gtest.h>

#include <cstring>

#include "mstp_bpdu.h"
#include "test_bpdu.h"

inline tMstpBpdu parsed(const testbpdu::Bytes& bytes) {
    tMstpBpdu bpdu;
    EXPECT_EQ(mstpParse(&bpdu, bytes.data(), static_cast<uint32_t>(bytes.size())), 0);
    return bpdu;
}

/// A bridge or port identifier as it travels.
template <class Id> Id idFromBytes(const uint8_t (&bytes)[sizeof(Id)]) {
    Id id;
    memcpy(&id, bytes, sizeof id);
    return id;
}
