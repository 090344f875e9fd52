// The handles, threads and memory of a helper at a moment.
#pragma once

#include <cstddef>

#include "tests/support/helper_process.h"

struct HelperSizes {
    explicit HelperSizes(const CHelperProcess& helper)
        : handles(helper.HandleCount()), threads(helper.ThreadCount()), bytes(helper.PrivateBytes()) {}

    std::size_t handles;
    std::size_t threads;
    std::size_t bytes;  // private
};

// What Wine's heap takes at once when more than ever is in use.
constexpr std::size_t kHeapSegmentBytes = 10 << 20;
