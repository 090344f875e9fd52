// Files in folders, in memory.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulation/kernel/port.h"

namespace simulation {

using FileBytes = std::shared_ptr<std::vector<unsigned char>>;

// Names are kept as they are given.
class CDisk {
  public:
    FileBytes Find(const std::wstring& strPath) const;
    // Empty, or null when its folder is missing.
    FileBytes Make(const std::wstring& strPath);
    bool HasFolder(const std::wstring& strPath) const { return m_folders.count(strPath) != 0; }
    bool HasParent(const std::wstring& strPath) const;
    void AddFolder(const std::wstring& strPath) { m_folders.insert(strPath); }

  private:
    std::set<std::wstring> m_folders{L"C:", L"C:\\temp"};
    std::map<std::wstring, FileBytes> m_files;
};

// An open file. Operations are done when they are started.
class CDiskFile final : public CFile {
  public:
    explicit CDiskFile(FileBytes pBytes) : CFile(/*bOverlapped=*/false), m_pBytes(std::move(pBytes)) {}
    const char* Kind() const override { return "file"; }
    void Read(const IoPointer& pIo) override;
    void Write(const IoPointer& pIo) override;
    bool Cancel(const OVERLAPPED*) override { return false; }

    const FileBytes m_pBytes;
    std::size_t m_nPosition = 0;
};

}  // namespace simulation
