// Who may open a caller's pipe and gate.
#include "client/caller_security.h"

#include <algorithm>

#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>

#include "client/caller.h"
#include "client/host_pipe.h"
#include "foundation/handle.h"
#include "ipc/transport/pipe_names.h"
#include "tests/support/unique_name.h"

namespace {

constexpr std::uint32_t kLongMs = 10000;

// The access rules of an object as text; empty when they cannot be read.
std::wstring RightsOf(HANDLE object) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(object, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
                        &descriptor) != ERROR_SUCCESS) {
        return {};
    }
    wchar_t* text = nullptr;
    std::wstring rights;
    if (ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                             &text, nullptr) != FALSE) {
        rights = text;
        LocalFree(text);
    }
    LocalFree(descriptor);
    return rights;
}

// Of the access rules of CallerRights, that many.
std::ptrdiff_t Rules(const std::wstring& rights) {
    const std::wstring access = rights.substr(0, rights.find(L"S:(ML"));
    return std::count(access.begin(), access.end(), L'(');
}

// An object that lets nobody in.
struct Denial {
    Denial() {
        attributes.nLength = sizeof attributes;
        ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P", SDDL_REVISION_1, &attributes.lpSecurityDescriptor,
                                                             nullptr);
    }
    ~Denial() { LocalFree(attributes.lpSecurityDescriptor); }
    SECURITY_ATTRIBUTES attributes = {};
};

TEST(CallerSecurity, RightsNameTheUserAndTheSystemAndNobodyAtLarge) {
    const std::wstring rights = CallerRights();
    EXPECT_TRUE(rights.starts_with(L"D:P(A;;GA;;;S-1-5-21-")) << "no user in it";
    EXPECT_NE(rights.find(L"(A;;GA;;;SY)"), std::wstring::npos);
    for (const wchar_t* anybody : {L";;;WD)", L";;;AN)", L";;;BU)", L";;;AU)", L";;;S-1-1-0)"}) {
        EXPECT_EQ(rights.find(anybody), std::wstring::npos);
    }
}

TEST(CallerSecurity, PipeAndGateOfACallerHaveThem) {
    CCaller caller(UniqueName(L"callertest"), "svc");
    ASSERT_EQ(caller.Open(), CallerResult::Ok) << caller.SystemError();
    const CKernelHandle gate(OpenEventW(READ_CONTROL, FALSE, caller.GateName().c_str()));
    const std::wstring ofGate = RightsOf(gate.get());
    EXPECT_TRUE(ofGate.starts_with(L"D:P(A;")) << std::string(ofGate.begin(), ofGate.end());
    EXPECT_EQ(Rules(ofGate), Rules(CallerRights())) << std::string(ofGate.begin(), ofGate.end());
    const CFileHandle pipe(CreateFileW(caller.PipeName().c_str(), GENERIC_READ | GENERIC_WRITE | READ_CONTROL, 0,
                                       nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(pipe) << GetLastError();
    const std::wstring ofPipe = RightsOf(pipe.get());
    EXPECT_EQ(Rules(ofPipe), Rules(CallerRights())) << std::string(ofPipe.begin(), ofPipe.end());
}

TEST(CallerSecurity, GateThatKeepsUsOutIsNotANameThatIsTaken) {
    CCaller caller(UniqueName(L"callertest"), "svc");
    Denial denial;
    const CKernelHandle gate(CreateEventW(&denial.attributes, TRUE, TRUE, caller.GateName().c_str()));
    ASSERT_TRUE(gate);
    EXPECT_EQ(caller.Open(), CallerResult::AccessDenied);
    EXPECT_EQ(caller.SystemError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

TEST(CallerSecurity, HostThatKeepsUsOutIsNeitherBusyNorMissing) {
    const std::wstring mark = UniqueName(L"callertest");
    // It may be written to and not read from, which is denied like any other right.
    const CFileHandle server(CreateNamedPipeW(HostPipeName(mark).c_str(), PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED,
                                              PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr));
    ASSERT_TRUE(server);
    CHostPipe host;
    DWORD systemError = 0;
    EXPECT_EQ(host.Connect(mark, kLongMs, systemError), CallerResult::AccessDenied);
    EXPECT_EQ(systemError, static_cast<DWORD>(ERROR_ACCESS_DENIED));
}

}  // namespace
