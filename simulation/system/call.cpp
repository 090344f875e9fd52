#include "simulation/system/call.h"

#include "simulation/kernel/faults.h"

namespace simulation {

CCall::CCall(const char* szName, std::uint64_t nFirst, std::uint64_t nSecond) : m_inside(*g_pScheduler) {
    g_pScheduler->Point();
    m_line.nAt = g_pScheduler->Now();
    m_line.nTask = Task().m_nId;
    m_line.szWhat = szName;
    m_line.nFirst = nFirst;
    m_line.nSecond = nSecond;
    g_pScheduler->Trace().Begin(m_line);
}

CCall::~CCall() {
    g_pScheduler->Trace().Add(std::move(m_line));
}

DWORD CCall::Fault(std::initializer_list<DWORD> errors) {
    const DWORD nError = g_pScheduler->Fault(
        [&] { return Task().m_nFaultsHeld == 0 ? g_pFaults->Draw(m_line.szWhat, errors) : DWORD{0}; });
    if (nError != 0) {
        Fail(nError);
    }
    return nError;
}

BOOL CCall::Fail(DWORD nError) {
    Task().m_nLastError = nError;
    m_line.nError = nError;
    return FALSE;
}

void CCall::Note(const std::wstring& strText) {
    m_line.strText.assign(strText.size(), '?');
    for (std::size_t i = 0; i < strText.size(); ++i) {
        if (strText[i] >= L' ' && strText[i] < 127) {
            m_line.strText[i] = static_cast<char>(strText[i]);
        }
    }
}

}  // namespace simulation
