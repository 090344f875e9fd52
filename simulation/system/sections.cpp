// Memory that processes share by a name.
#include "simulation/system/call.h"

using namespace simulation;

namespace {

class CSection final : public CObject {
  public:
    explicit CSection(std::size_t nBytes) : m_words((nBytes + sizeof(LONG64) - 1) / sizeof(LONG64)) {}
    const char* Kind() const override { return "section"; }

    std::vector<LONG64> m_words;
};

}  // namespace

HANDLE CreateFileMappingW(HANDLE, LPSECURITY_ATTRIBUTES, DWORD, DWORD, DWORD nSizeLow, LPCWSTR szName) {
    CCall call("CreateFileMappingW", nSizeLow);
    call.Note(szName);
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return nullptr;
    }
    ObjectPointer pSection = call.Machine().FindName(szName);
    call.Task().m_nLastError = ERROR_SUCCESS;
    if (!pSection) {
        pSection = std::make_shared<CSection>(nSizeLow);
        call.Machine().SetName(pSection, szName);
    } else if (dynamic_cast<CSection*>(pSection.get()) == nullptr) {
        call.Fail(ERROR_INVALID_HANDLE);
        return nullptr;
    } else {
        call.Task().m_nLastError = ERROR_ALREADY_EXISTS;
    }
    return call.Process().Open(pSection);
}

LPVOID MapViewOfFile(HANDLE hSection, DWORD, DWORD, DWORD, SIZE_T) {
    CCall call("MapViewOfFile", Number(hSection));
    const auto pSection = call.Process().FindAs<CSection>(hSection);
    if (!pSection) {
        call.Fail(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return nullptr;
    }
    // A view keeps the name as a handle does.
    ++pSection->m_nHandles;
    call.Process().m_vecViews.push_back(pSection);
    return pSection->m_words.data();
}
