// Reading a process's command line out of its memory: where it is, and which of it is accepted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The memory of a 64-bit process.
class IProcessMemory {
  public:
    // Reads size bytes at address; false when fewer came.
    virtual bool Read(std::uint64_t address, void* target, std::size_t size) = 0;

  protected:
    ~IProcessMemory() = default;
};

// The command line of the process whose environment block (PEB) is at address, up to its first zero, in UTF-16.
// Empty when any of it cannot be read, does not fit together or takes 4096 bytes or more.
std::u16string ReadCommandLineAt(std::uint64_t address, IProcessMemory& memory);
