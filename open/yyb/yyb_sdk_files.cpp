#include "open/yyb/yyb_sdk_files.h"

#include "foundation/late_shlwapi.h"
#include "foundation/log.h"
#include "foundation/windows_headers.h"
#include "support/signer/sign_info.h"
#include "support/system/system_queries.h"

namespace WXMINI_PROGRAM_COMMON {

namespace {

const wchar_t kLibrary[] = L"\\pcyyb_sdk_dll.dll";
const wchar_t kIdentityLibrary[] = L"\\qimei.dll";
const wchar_t kInstaller[] = L"\\AndrowsInstaller.exe";
const wchar_t kLogo[] = L"\\androws_logo.png";

bool Exists(const std::wstring& path) {
    return Late::PathFileExistsW(path.c_str()) != FALSE;
}

bool IsSignedFile(const std::wstring& path) {
    return Exists(path) && IsTrustedSigner(path);
}

}  // namespace

std::wstring GetYybSdkDir(const std::wstring& sdkPath, bool bMlHost) {
    const std::wstring dir = bMlHost ? sdkPath : sdkPath + L"\\yybsdk";
    return Exists(dir) ? dir : std::wstring();
}

bool IsYybSdkNewVersion(const std::wstring& dir) {
    return IsFileVersionAtLeast(dir + kLibrary) && IsFileVersionAtLeast(dir + kInstaller);
}

bool IsYybSDKOk(const std::wstring& dir) {
    const std::wstring strDllSdk = dir + kLibrary;
    NXL_LOG(L"----IsYybSDKOk strDllSdk = %s", strDllSdk.c_str());
    return IsSignedFile(strDllSdk) && IsSignedFile(dir + kIdentityLibrary) && IsSignedFile(dir + kInstaller) &&
           Exists(dir + kLogo);
}

}  // namespace WXMINI_PROGRAM_COMMON
