// Who a process runs as. Every one is of one user, with a logon session, of medium integrity.
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "simulation/system/call.h"

using namespace simulation;

namespace {

class CToken final : public CObject {
  public:
    const char* Kind() const override { return "token"; }
};

struct Sid {
    DWORD nParts;
    DWORD parts[5];
};

constexpr Sid kUser = {5, {5, 21, 1, 2, 1001}};
constexpr Sid kLogon = {4, {5, 5, 0, 77}};
constexpr Sid kMedium = {2, {16, SECURITY_MANDATORY_MEDIUM_RID}};

// An answer, with the identifier after it.
struct Answer {
    union {
        TOKEN_USER user;
        TOKEN_GROUPS groups;
        TOKEN_MANDATORY_LABEL label;
    };
    Sid sid;
};

template <typename T>
T* Allocated(std::size_t nCount) {
    return static_cast<T*>(std::malloc(nCount * sizeof(T)));
}

}  // namespace

BOOL OpenProcessToken(HANDLE, DWORD, HANDLE* phToken) {
    CCall call("OpenProcessToken");
    if (call.Fault({ERROR_ACCESS_DENIED, ERROR_NO_SYSTEM_RESOURCES}) != 0) {
        return FALSE;
    }
    *phToken = call.Process().Open(std::make_shared<CToken>());
    return TRUE;
}

BOOL GetTokenInformation(HANDLE hToken, TOKEN_INFORMATION_CLASS kind, LPVOID pAnswer, DWORD nSize, LPDWORD pSize) {
    CCall call("GetTokenInformation", kind, nSize);
    if (!call.Process().FindAs<CToken>(hToken)) {
        return call.Fail(ERROR_INVALID_HANDLE);
    }
    *pSize = sizeof(Answer);
    if (nSize < sizeof(Answer)) {
        return call.Fail(ERROR_INSUFFICIENT_BUFFER);
    }
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    auto& answer = *static_cast<Answer*>(pAnswer);
    if (kind == TokenUser) {
        answer.sid = kUser;
        answer.user.User = {&answer.sid, 0};
    } else if (kind == TokenGroups) {
        answer.sid = kLogon;
        answer.groups = {1, {{&answer.sid, SE_GROUP_LOGON_ID}}};
    } else {
        answer.sid = kMedium;
        answer.label.Label = {&answer.sid, 0};
    }
    return TRUE;
}

LPDWORD GetSidSubAuthority(PSID pSid, DWORD nIndex) {
    // The first part is the authority.
    return &static_cast<Sid*>(pSid)->parts[nIndex + 1];
}

BOOL ConvertSidToStringSidW(PSID pSid, LPWSTR* pszText) {
    CCall call("ConvertSidToStringSidW");
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    const auto& sid = *static_cast<const Sid*>(pSid);
    std::wstring strText = L"S-1";
    for (DWORD i = 0; i < sid.nParts; ++i) {
        strText += L"-" + std::to_wstring(sid.parts[i]);
    }
    *pszText = Allocated<wchar_t>(strText.size() + 1);
    std::wmemcpy(*pszText, strText.c_str(), strText.size() + 1);
    return TRUE;
}

BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR szRights, DWORD, PSECURITY_DESCRIPTOR* ppRights,
                                                          ULONG*) {
    CCall call("ConvertStringSecurityDescriptorToSecurityDescriptorW");
    call.Note(szRights);
    if (std::wstring_view(szRights).substr(0, 2) != L"D:") {
        return call.Fail(ERROR_INVALID_PARAMETER);
    }
    if (call.Fault({ERROR_NOT_ENOUGH_MEMORY}) != 0) {
        return FALSE;
    }
    *ppRights = Allocated<char>(1);
    return TRUE;
}
