#include "nexctl/doctor/look_files.h"

#include <algorithm>
#include <initializer_list>

#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/doctor/pe_library.h"
#include "open/yyb/yyb_sdk_files.h"
#include "support/signer/sign_info.h"
#include "support/system/system_queries.h"
#include "tooling/text_file.h"

#include <shlwapi.h>

namespace {

// What CWxApi and CYybApi resolve.
constexpr const char* kOceanExports[] = {"ocean_init",
                                         "ocean_check_installation",
                                         "ocean_open_miniprogram",
                                         "ocean_download_web_installer",
                                         "ocean_install",
                                         "ocean_uninit"};
constexpr const char* kYybExports[] = {"Initialize",
                                       "Uninitialize",
                                       "CheckPcyyb",
                                       "GetQimei",
                                       "LaunchApplet",
                                       "HasAppletLaunchSuccess",
                                       "RegisterStateChangeHandler"};

bool Exists(const std::wstring& path) {
    return PathFileExistsW(path.c_str()) != FALSE;
}

std::wstring FolderAbove(const std::wstring& path, int levels) {
    std::wstring folder = path;
    for (int i = 0; i < levels; ++i) {
        const std::size_t slash = folder.find_last_of(L'\\');
        folder.resize(slash == std::wstring::npos ? 0 : slash);
    }
    return folder;
}

struct FileNeeds {
    bool bSigned = false;
    bool bNew = false;
    bool bLibrary = false;
};

FileFact LookAtFile(const std::wstring& path, const FileNeeds& needs) {
    FileFact file;
    file.path = Utf16ToUtf8(path);
    file.mustBeSigned = needs.bSigned;
    file.mustBeNew = needs.bNew;
    file.mustBeLibrary = needs.bLibrary;
    file.exists = Exists(path);
    if (file.exists) {
        file.version = FileVersionOf(path);
        std::string thumbprint;
        std::string issuer;
        GetSignInfo(path, file.signer, thumbprint, issuer);
        file.trusted = IsTrustedSigner(path);
        file.isNew = IsFileVersionAtLeast(path);
    }
    return file;
}

template <std::size_t Count>
FileFact LookAtLibrary(const std::wstring& path, FileNeeds needs, const char* const (&exports)[Count]) {
    needs.bLibrary = true;
    FileFact file = LookAtFile(path, needs);
    std::string bytes;
    if (file.exists && ReadTextFile(file.path, bytes)) {
        const PeLibrary library = ReadPeLibrary(bytes);
        file.isLibrary = library.bRead;
        file.is64Bit = library.nMachine == kMachineX64;
        for (const char* name : exports) {
            if (std::ranges::find(library.exports, name) == library.exports.end()) {
                file.missingExports.emplace_back(name);
            }
        }
    }
    return file;
}

}  // namespace

std::string FileVersionOf(const std::wstring& path) {
    DWORD unused = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &unused);
    std::vector<char> block(size);
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (size == 0 || GetFileVersionInfoW(path.c_str(), 0, size, block.data()) == FALSE ||
        VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) == FALSE || info == nullptr) {
        return {};
    }
    return std::to_string(HIWORD(info->dwFileVersionMS)) + "." + std::to_string(LOWORD(info->dwFileVersionMS)) + "." +
           std::to_string(HIWORD(info->dwFileVersionLS)) + "." + std::to_string(LOWORD(info->dwFileVersionLS));
}

void LookAtSdks(const std::wstring& program, bool mlHost, DoctorFacts& facts) {
    const std::wstring sdk = FolderAbove(program, 2);
    facts.wxSdk.push_back(LookAtLibrary((mlHost ? sdk : sdk + L"\\wxsdk") + L"\\ocean.dll", {}, kOceanExports));
    const std::wstring yyb = WXMINI_PROGRAM_COMMON::GetYybSdkDir(sdk, mlHost);
    if (!yyb.empty()) {
        facts.yybSdk.push_back(
            LookAtLibrary(yyb + L"\\pcyyb_sdk_dll.dll", {.bSigned = true, .bNew = true}, kYybExports));
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\qimei.dll", {.bSigned = true}));
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\AndrowsInstaller.exe", {.bSigned = true, .bNew = true}));
        facts.yybSdk.push_back(LookAtFile(yyb + L"\\androws_logo.png", {}));
    }
}
