// What processes share, and what they ask of the system about themselves: sections of memory, rights, modules by
// address, the system's words.
#include "simulation/conformance/conformance.h"

#include <sddl.h>
#include <cwchar>

namespace {

CKernelHandle MakeSection(const std::wstring& strName, DWORD nBytes) {
    return CKernelHandle(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, nBytes, strName.c_str()));
}

volatile LONG64* View(const CKernelHandle& section) {
    return static_cast<volatile LONG64*>(
        MapViewOfFile(section.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(LONG64)));
}

TEST(Sections, BeginWithZerosAndAllViewsOfANameAreTheSameMemory) {
    const std::wstring strName = FreshName(L"Local\\nexlet_conformance_section");
    CKernelHandle first = MakeSection(strName, sizeof(LONG64));
    ASSERT_TRUE(first) << GetLastError();
    CKernelHandle second = MakeSection(strName, sizeof(LONG64));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    volatile LONG64* const pFirst = View(first);
    volatile LONG64* const pSecond = View(second);
    ASSERT_NE(pFirst, nullptr);
    ASSERT_NE(pSecond, nullptr);
    EXPECT_EQ(*pFirst, 0);
    // The views keep the memory.
    first.reset();
    second.reset();
    EXPECT_EQ(InterlockedIncrement64(pFirst), 1);
    EXPECT_EQ(InterlockedAdd64(pSecond, 4), 5);
    EXPECT_EQ(InterlockedCompareExchange64(pFirst, 9, 4), 5);
    EXPECT_EQ(InterlockedCompareExchange64(pFirst, 9, 5), 5);
    EXPECT_EQ(*pSecond, 9);
}

TEST(Sections, TheNameOfAnotherKindOfObjectIsError6) {
    const std::wstring strName = FreshName(L"Local\\nexlet_conformance_section");
    const CKernelHandle event = MakeEvent(TRUE, FALSE, strName.c_str());
    EXPECT_FALSE(MakeSection(strName, sizeof(LONG64)));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
}

CKernelHandle OwnToken() {
    HANDLE hToken = nullptr;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &hToken)) << GetLastError();
    return CKernelHandle(hToken);
}

TEST(Tokens, TellHowLongTheirAnswersAreAndNameTheUser) {
    const CKernelHandle token = OwnToken();
    DWORD nSize = 0;
    EXPECT_FALSE(GetTokenInformation(token.get(), TokenUser, nullptr, 0, &nSize));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    std::vector<std::max_align_t> answer(nSize / sizeof(std::max_align_t) + 1);
    ASSERT_TRUE(GetTokenInformation(token.get(), TokenUser, answer.data(), nSize, &nSize));
    wchar_t* szSid = nullptr;
    ASSERT_TRUE(ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(answer.data())->User.Sid, &szSid));
    EXPECT_EQ(std::wstring(szSid).substr(0, 4), L"S-1-");
    LocalFree(szSid);
}

TEST(Tokens, NameTheLevelOfTheirIntegrity) {
    const CKernelHandle token = OwnToken();
    std::max_align_t answer[16];
    DWORD nSize = 0;
    ASSERT_TRUE(GetTokenInformation(token.get(), TokenIntegrityLevel, answer, sizeof answer, &nSize));
    EXPECT_GE(*GetSidSubAuthority(reinterpret_cast<TOKEN_MANDATORY_LABEL*>(answer)->Label.Sid, 0), 0x1000u);
    ASSERT_FALSE(GetTokenInformation(token.get(), TokenGroups, nullptr, 0, &nSize));
    EXPECT_GE(nSize, sizeof(DWORD));
}

TEST(Rights, AreMadeFromTheirTextAndATextThatIsNoneIsRefused) {
    PSECURITY_DESCRIPTOR pRights = nullptr;
    EXPECT_TRUE(
        ConvertStringSecurityDescriptorToSecurityDescriptorW(L"D:P(A;;GA;;;SY)", SDDL_REVISION_1, &pRights, nullptr));
    EXPECT_NE(pRights, nullptr);
    EXPECT_EQ(LocalFree(pRights), nullptr);
    EXPECT_FALSE(
        ConvertStringSecurityDescriptorToSecurityDescriptorW(L"no rights", SDDL_REVISION_1, &pRights, nullptr));
}

TEST(Modules, CodeIsInAModuleThatHasAFile) {
    HMODULE hModule = nullptr;
    ASSERT_TRUE(
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&OwnToken), &hModule));
    EXPECT_NE(hModule, nullptr);
    HMODULE hPinned = nullptr;
    EXPECT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                   reinterpret_cast<LPCWSTR>(&OwnToken), &hPinned));
    EXPECT_EQ(hPinned, hModule);
    wchar_t path[MAX_PATH] = {};
    const DWORD nLength = GetModuleFileNameW(hModule, path, MAX_PATH);
    EXPECT_EQ(std::wcslen(path), nLength);
    EXPECT_NE(std::wstring(path).find(L'\\'), std::wstring::npos);
}

TEST(Words, TheSystemHasSomeForItsErrorsAndNoneForANumberThatIsNotOne) {
    wchar_t words[512] = {};
    const auto length = [&](DWORD nError) {
        return FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, nError, 0, words,
                              512, nullptr);
    };
    EXPECT_GT(length(ERROR_ACCESS_DENIED), 0u);
    EXPECT_NE(words[0], L'\0');
    EXPECT_EQ(length(0x2FFFFFFF), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MR_MID_NOT_FOUND});
}

}  // namespace
