#include "client/caller_security.h"

#include <cstddef>
#include <vector>

#include <sddl.h>

#include "foundation/handle.h"

namespace {

// One answer of the system about the token; empty when there is none.
std::vector<std::max_align_t> TokenFacts(HANDLE token, TOKEN_INFORMATION_CLASS kind) {
    DWORD size = 0;
    GetTokenInformation(token, kind, nullptr, 0, &size);
    std::vector<std::max_align_t> facts((size + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t));
    if (facts.empty() || GetTokenInformation(token, kind, facts.data(), size, &size) == FALSE) {
        facts.clear();
    }
    return facts;
}

std::wstring SidText(PSID sid) {
    wchar_t* text = nullptr;
    if (ConvertSidToStringSidW(sid, &text) == FALSE) {
        return {};
    }
    std::wstring copy = text;
    LocalFree(text);
    return copy;
}

// Empty for a process without a logon session of its own, a service.
std::wstring LogonSid(HANDLE token) {
    const auto facts = TokenFacts(token, TokenGroups);
    if (facts.empty()) {
        return {};
    }
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(facts.data());
    for (DWORD i = 0; i < groups->GroupCount; ++i) {
        if ((groups->Groups[i].Attributes & SE_GROUP_LOGON_ID) == SE_GROUP_LOGON_ID) {
            return SidText(groups->Groups[i].Sid);
        }
    }
    return {};
}

bool IsMediumOrHigher(HANDLE token) {
    const auto facts = TokenFacts(token, TokenIntegrityLevel);
    if (facts.empty()) {
        return false;
    }
    PSID sid = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(facts.data())->Label.Sid;
    return *GetSidSubAuthority(sid, 0) >= SECURITY_MANDATORY_MEDIUM_RID;
}

}  // namespace

std::wstring CallerRights() {
    CKernelHandle token;
    {
        HANDLE opened = nullptr;
        if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) {
            return {};
        }
        token.reset(opened);
    }
    const auto user = TokenFacts(token.get(), TokenUser);
    if (user.empty()) {
        return {};
    }
    const std::wstring userSid = SidText(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
    if (userSid.empty()) {
        return {};
    }
    std::wstring rights = L"D:P(A;;GA;;;" + userSid + L")(A;;GA;;;SY)";
    const std::wstring logonSid = LogonSid(token.get());
    if (!logonSid.empty()) {
        rights += L"(A;;GA;;;" + logonSid + L")";
    }
    // A process of lower integrity may not raise the label of what it makes, and needs none.
    if (IsMediumOrHigher(token.get())) {
        rights += L"S:(ML;;NW;;;ME)";
    }
    return rights;
}

CCallerSecurity::CCallerSecurity() {
    m_attributes.nLength = sizeof m_attributes;
    const std::wstring rights = CallerRights();
    if (!rights.empty()) {
        ConvertStringSecurityDescriptorToSecurityDescriptorW(rights.c_str(), SDDL_REVISION_1,
                                                             &m_attributes.lpSecurityDescriptor, nullptr);
    }
}

CCallerSecurity::~CCallerSecurity() {
    LocalFree(m_attributes.lpSecurityDescriptor);
}
