#include "simulation/kernel/disk.h"

#include <algorithm>
#include <cstring>

namespace simulation {

FileBytes CDisk::Find(const std::wstring& strPath) const {
    const auto found = m_files.find(strPath);
    return found != m_files.end() ? found->second : nullptr;
}

bool CDisk::HasParent(const std::wstring& strPath) const {
    return m_folders.count(strPath.substr(0, strPath.find_last_of(L'\\'))) != 0;
}

FileBytes CDisk::Make(const std::wstring& strPath) {
    if (!HasParent(strPath)) {
        return nullptr;
    }
    return m_files[strPath] = std::make_shared<std::vector<unsigned char>>();
}

void CDiskFile::Read(const IoPointer& pIo) {
    const std::size_t nLeft = m_nPosition < m_pBytes->size() ? m_pBytes->size() - m_nPosition : 0;
    const std::size_t nPart = std::min<std::size_t>(nLeft, pIo->m_nSize);
    std::memcpy(pIo->m_pBuffer, m_pBytes->data() + m_nPosition, nPart);
    m_nPosition += nPart;
    pIo->Complete(ERROR_SUCCESS, static_cast<DWORD>(nPart));
}

void CDiskFile::Write(const IoPointer& pIo) {
    m_pBytes->resize(std::max(m_pBytes->size(), m_nPosition + pIo->m_nSize));
    std::memcpy(m_pBytes->data() + m_nPosition, pIo->m_pBuffer, pIo->m_nSize);
    m_nPosition += pIo->m_nSize;
    pIo->Complete(ERROR_SUCCESS, pIo->m_nSize);
}

}  // namespace simulation
