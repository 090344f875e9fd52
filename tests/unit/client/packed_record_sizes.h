// The sizes of the records in a program that packs its own to 1.
#pragma once

#include <array>
#include <cstddef>

// options, start options, status, helper
using RecordSizes = std::array<std::size_t, 4>;

RecordSizes PackedRecordSizes();
