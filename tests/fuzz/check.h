#pragma once

#include <cstdio>
#include <cstdlib>

/// An invariant: prints the condition and dies, which the fuzzer takes as a finding.
#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #condition);                \
            abort();                                                                               \
        }                                                                                          \
    } while (false)
