// The memory that operator new gives in a program that links counted_memory.cpp: its size, and failures on demand.
//
// One watch or fault at a time, used on the thread that allocates.
#pragma once

#include <cstddef>
#include <cstdint>

// Bytes that the calling code holds at once, counted from construction on.
class CMemoryWatch {
  public:
    CMemoryWatch();
    std::size_t Peak() const;
};

// Lets one allocation fail, after `allowed` others that succeed. The fault ends with the scope.
class CAllocationFault {
  public:
    explicit CAllocationFault(std::uint64_t allowed);
    ~CAllocationFault();
    CAllocationFault(const CAllocationFault&) = delete;
    CAllocationFault& operator=(const CAllocationFault&) = delete;

    // Whether so many allocations were asked for that one failed.
    bool Happened() const;
};

// Lets every allocation of this many bytes or more fail. The fault ends with the scope.
class CLargeAllocationFault {
  public:
    explicit CLargeAllocationFault(std::size_t bytes);
    ~CLargeAllocationFault();
    CLargeAllocationFault(const CLargeAllocationFault&) = delete;
    CLargeAllocationFault& operator=(const CLargeAllocationFault&) = delete;
};
