#pragma once

/// What the four attribute tables of the management interface are made of.
///
/// A table is an array of rows, one for each attribute in the order of their numbers; a row says
/// whether the value is a number or octets, how it is read and how it is written. Most rows copy a
/// field of a record in one of three forms (as it is, as a truth value, as hundredths of a second),
/// so those accessors are templates over the field; the others are functions of their table.

#include <cstdint>
#include <cstring>

#include "mstp/records.h"
#include "mstp_main.h"
#include "mstp_port_timers_state_machine.h"
#include "platform/hardware.h"
#include "platform/octets.h"

inline constexpr int32_t NM_OK = 0;
inline constexpr int32_t NM_REFUSED = -1;
inline constexpr uint32_t NM_HUNDREDTHS = 100; ///< of a second, the unit of times
inline constexpr uint32_t NM_ANY_LENGTH = 0xFFFFFFFF;

/// How a set treats the value and the platform.
enum : uint8_t {
    NM_PLAIN = 0,
    NM_LOCAL = 1,     ///< the change is not offered to the platform
    NM_VALUELESS = 2, ///< a set needs no value
};

/// One attribute of records of type @p Record. A missing accessor refuses.
template <class Record> struct tNmRow {
    uint32_t attribute;
    uint8_t traits;
    int32_t (*get)(Record* record, uint32_t* value);
    int32_t (*set)(Record* record, uint32_t value);
    int32_t (*getOctets)(Record* record, octetstring* value);
    int32_t (*setOctets)(Record* record, octetstring* value);
    uint32_t octetsLimit; ///< longest octets that a set takes
};

template <class Record> using NmGet = int32_t (*)(Record*, uint32_t*);
template <class Record> using NmSet = int32_t (*)(Record*, uint32_t);
template <class Record> using NmOctets = int32_t (*)(Record*, octetstring*);

template <class Record> constexpr tNmRow<Record> nmRefused(uint32_t attribute) {
    return {attribute, NM_PLAIN, nullptr, nullptr, nullptr, nullptr, 0};
}

template <class Record> constexpr tNmRow<Record> nmReadOnly(uint32_t attribute, NmGet<Record> get) {
    return {attribute, NM_PLAIN, get, nullptr, nullptr, nullptr, 0};
}

template <class Record>
constexpr tNmRow<Record> nmReadWrite(uint32_t attribute, NmGet<Record> get, NmSet<Record> set,
                                     uint8_t traits = NM_PLAIN) {
    return {attribute, traits, get, set, nullptr, nullptr, 0};
}

template <class Record>
constexpr tNmRow<Record> nmWriteOnly(uint32_t attribute, NmSet<Record> set,
                                     uint8_t traits = NM_PLAIN) {
    return {attribute, traits, nullptr, set, nullptr, nullptr, 0};
}

template <class Record>
constexpr tNmRow<Record> nmOctetsReadOnly(uint32_t attribute, NmOctets<Record> get) {
    return {attribute, NM_PLAIN, nullptr, nullptr, get, nullptr, 0};
}

/// @param get  none for octets that can only be written
template <class Record>
constexpr tNmRow<Record> nmOctetsReadWrite(uint32_t attribute, NmOctets<Record> get,
                                           NmOctets<Record> set, uint32_t limit) {
    return {attribute, NM_PLAIN, nullptr, nullptr, get, set, limit};
}

/// The row of @p attribute, none for a number that the table does not know.
template <class Record, uint32_t Count>
const tNmRow<Record>* nmFind(const tNmRow<Record> (&table)[Count], uint32_t attribute) {
    for (const tNmRow<Record>& row : table) {
        if (row.attribute == attribute) {
            return &row;
        }
    }
    return nullptr;
}

template <class Record> bool nmIsOctets(const tNmRow<Record>* row) {
    return row != nullptr && (row->getOctets != nullptr || row->setOctets != nullptr);
}

/// Reads @p attribute of @p record, which may be none.
template <class Record> int32_t nmRead(const tNmRow<Record>* row, Record* record, void* value) {
    if (row == nullptr || record == nullptr || value == nullptr) {
        return NM_REFUSED;
    }
    if (row->getOctets != nullptr) {
        return row->getOctets(record, static_cast<octetstring*>(value));
    }
    return row->get != nullptr ? row->get(record, static_cast<uint32_t*>(value)) : NM_REFUSED;
}

template <class Record> bool nmSettable(const tNmRow<Record>* row) {
    return row != nullptr && (row->set != nullptr || row->setOctets != nullptr);
}

/// True if @p row can be set to @p value at all: asked before anything is offered or changed.
template <class Record> bool nmTakes(const tNmRow<Record>* row, const void* value) {
    if (!nmSettable(row)) {
        return false;
    }
    if (row->setOctets != nullptr) {
        return value != nullptr && static_cast<const octetstring*>(value)->len <= row->octetsLimit;
    }
    return value != nullptr || (row->traits & NM_VALUELESS) != 0;
}

template <class Record> bool nmOffered(const tNmRow<Record>* row) {
    return (row->traits & NM_LOCAL) == 0;
}

/// The flag under which a change of @p row is offered to the platform.
template <class Record> uint32_t nmSyncFlag(const tNmRow<Record>* row, uint32_t flag) {
    return nmIsOctets(row) ? flag | KEL_SYNC_OCTETS : flag;
}

/// Writes @p value, which nmTakes has accepted.
template <class Record> int32_t nmWrite(const tNmRow<Record>* row, Record* record, void* value) {
    if (row->setOctets != nullptr) {
        return row->setOctets(record, static_cast<octetstring*>(value));
    }
    return row->set(record, value != nullptr ? *static_cast<uint32_t*>(value) : 0);
}

/// A copy that nothing is asked of when there is nothing to copy.
inline void nmCopy(void* to, const void* from, uint32_t length) {
    if (length > 0) {
        memcpy(to, from, length);
    }
}

/// Answers a get of octets; the caller's buffer has room for the longest answer.
inline int32_t nmPutOctets(octetstring* value, const void* bytes, uint32_t length) {
    nmCopy(value->pBuf, bytes, length);
    value->len = length;
    return NM_OK;
}

inline uint32_t nmTruth(uint32_t condition) {
    return condition != 0 ? MSTP_TRUE : MSTP_FALSE;
}

inline uint8_t nmFromTruth(uint32_t value) {
    return value == MSTP_TRUE ? 1 : 0;
}

template <class Record, class Type> Record nmRecordOf(Type Record::*);
template <class Record, class Type> Type nmTypeOf(Type Record::*);
template <auto Field> using NmRecord = decltype(nmRecordOf(Field));
template <auto Field> using NmType = decltype(nmTypeOf(Field));

/// The field as it is.
template <auto Field> int32_t nmGetField(NmRecord<Field>* record, uint32_t* value) {
    *value = record->*Field;
    return NM_OK;
}

template <auto Field> int32_t nmSetField(NmRecord<Field>* record, uint32_t value) {
    record->*Field = static_cast<NmType<Field>>(value);
    return NM_OK;
}

/// A field in seconds as hundredths; what is less than a second is cut off.
template <auto Field> int32_t nmGetSeconds(NmRecord<Field>* record, uint32_t* value) {
    *value = record->*Field * NM_HUNDREDTHS;
    return NM_OK;
}

template <auto Field> int32_t nmSetSeconds(NmRecord<Field>* record, uint32_t value) {
    record->*Field = static_cast<NmType<Field>>(value / NM_HUNDREDTHS);
    return NM_OK;
}

/// A switch as a truth value; every value but MSTP_TRUE is false.
template <auto Field> int32_t nmGetTruth(NmRecord<Field>* record, uint32_t* value) {
    *value = nmTruth(record->*Field);
    return NM_OK;
}

template <auto Field> int32_t nmSetTruth(NmRecord<Field>* record, uint32_t value) {
    record->*Field = nmFromTruth(value);
    return NM_OK;
}

/// A field of a record within the record.
template <auto Outer, auto Field> int32_t nmGetInner(NmRecord<Outer>* record, uint32_t* value) {
    *value = record->*Outer.*Field;
    return NM_OK;
}

/// An identifier or the like, whole.
template <auto Field> int32_t nmGetBytes(NmRecord<Field>* record, octetstring* value) {
    return nmPutOctets(value, &(record->*Field), sizeof(record->*Field));
}

template <auto Outer, auto Field>
int32_t nmGetInnerBytes(NmRecord<Outer>* record, octetstring* value) {
    return nmPutOctets(value, &(record->*Outer.*Field), sizeof(record->*Outer.*Field));
}

/// @p bit while the hold that @p timer keeps has a whole second or more left, else 0.
inline uint32_t nmHold(tTimerNode* timer, uint32_t bit) {
    return mstpRemain(timer) != 0 ? bit : 0;
}

/// MSTIs run only while the bridge speaks MSTP.
inline bool mstpXstRuns(const tMstpBridge* bridge, uint32_t xstId) {
    return xstId == 0 || bridge->forceVersion >= MSTP_FORCE_ATUODOT1S;
}

/// Brackets the work of one entry.
class NmLocked {
  public:
    NmLocked() { mstpLock(); }
    ~NmLocked() { mstpUnLock(); }
    NmLocked(const NmLocked&) = delete;
    NmLocked& operator=(const NmLocked&) = delete;
};
