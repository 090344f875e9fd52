// Who a process runs as, and rights. Rights are made and released; nothing is kept out by them.
#pragma once

#include "simulation/include/winapi/types.h"

using PSID = void*;
using PSECURITY_DESCRIPTOR = void*;

#define TOKEN_QUERY 0x0008U
#define SE_GROUP_LOGON_ID 0xC0000000U
#define SECURITY_MANDATORY_MEDIUM_RID 0x2000U
#define SDDL_REVISION_1 1U

// By their documented values.
enum TOKEN_INFORMATION_CLASS { TokenUser = 1, TokenGroups = 2, TokenIntegrityLevel = 25 };

struct SID_AND_ATTRIBUTES {
    PSID Sid;
    DWORD Attributes;
};
struct TOKEN_USER {
    SID_AND_ATTRIBUTES User;
};
struct TOKEN_GROUPS {
    DWORD GroupCount;
    SID_AND_ATTRIBUTES Groups[1];
};
struct TOKEN_MANDATORY_LABEL {
    SID_AND_ATTRIBUTES Label;
};

BOOL OpenProcessToken(HANDLE hProcess, DWORD dwAccess, HANDLE* phToken);
BOOL GetTokenInformation(HANDLE hToken, TOKEN_INFORMATION_CLASS kind, LPVOID pAnswer, DWORD nSize, LPDWORD pSize);
LPDWORD GetSidSubAuthority(PSID pSid, DWORD nIndex);
BOOL ConvertSidToStringSidW(PSID pSid, LPWSTR* pszText);
BOOL ConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR szRights, DWORD nRevision,
                                                          PSECURITY_DESCRIPTOR* ppRights, ULONG* pSize);
