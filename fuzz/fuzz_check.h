// The property check of the fuzzers: what must hold, or the run stops with the input kept.
#pragma once

#include <cstdio>
#include <cstdlib>

// What only checks is not what is explored: without counters for libFuzzer it takes a fraction of the time.
#define FUZZ_ORACLE __attribute__((no_sanitize("coverage")))

// Not assert(): it must also hold in builds without assertions.
#define FUZZ_CHECK(condition)                                                                   \
    do {                                                                                        \
        if (!(condition)) {                                                                     \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                                       \
        }                                                                                       \
    } while (false)
