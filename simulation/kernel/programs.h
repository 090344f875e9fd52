// Programs that can be started.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace simulation {

// Names without regard to case.
class CPrograms {
  public:
    // What runs as the main thread of a process of the program; its result is the process's exit code.
    using Main = std::function<std::uint32_t(std::wstring strCommandLine)>;

    // Makes two of the system's own: a shell that can end with a code, and one that refuses its command line.
    CPrograms();

    void Add(const std::wstring& strFile, Main main);
    // Null when there is no such program.
    std::shared_ptr<const Main> Find(const std::wstring& strFile) const;

  private:
    std::map<std::wstring, std::shared_ptr<const Main>> m_programs;
};

}  // namespace simulation
