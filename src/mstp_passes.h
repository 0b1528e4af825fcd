#pragma once

/// How a machine that may make several transitions in one run is evaluated, written once.

#include "mstp/enums.h"

/// Evaluates @p record's machine in passes until one makes no transition, MSTP_FSM_PASSES times at
/// the most: a machine that would run round in circles goes on in the next run.
///
/// @param pass  tests the transitions once, in their order, and makes those that are due; false
///              ends the run
template <typename Record> void mstpRunPasses(Record* record, bool (*pass)(Record*)) {
    for (uint32_t count = 0; count < MSTP_FSM_PASSES; count++) {
        if (!pass(record)) {
            return;
        }
    }
}
