// Sees one allocation of the test program: the moment at which a text of a known length is being read, on the thread
// that reads it.
#pragma once

#include <cstddef>
#include <functional>

// One at a time. A program that links this has its operator new replaced.
class CAllocationWatch {
  public:
    // Calls onSeen at the first allocation of exactly this many bytes, on the thread that makes it and before it is
    // made.
    CAllocationWatch(std::size_t size, std::function<void()> onSeen);
    ~CAllocationWatch();
    CAllocationWatch(const CAllocationWatch&) = delete;
    CAllocationWatch& operator=(const CAllocationWatch&) = delete;
};

// A JSON text of this many letters makes the reader allocate this many bytes.
constexpr std::size_t ReaderAllocation(std::size_t letters) {
    return letters + 1;
}
