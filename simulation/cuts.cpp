// What replaces the places where the floors `support` and `open` show things, ask for other programs' processes, or
// read files of other publishers. The headers are the product's; everything that is not here is its own code.
#include <set>

#include "host/crash_dump.h"
#include "open/probes/login_probes.h"
#include "open/request/system_pic_start.h"
#include "open/wx_client/wx_client.h"
#include "open/yyb/yyb_sdk_files.h"
#include "support/picture/gdiplus_start.h"
#include "support/system/system_queries.h"

// No dump: a fault ends the run with a report.
void KeepCrashDumps() {}
bool IsCrashUnderWay() {
    return false;
}
void DumpThisThread(unsigned long) {}

ULONG_PTR StartGdiplus() {
    return 1;
}

std::int32_t GetWindowsVersionCode() {
    constexpr std::int32_t kWindows10 = 9;
    return kWindows10;
}
bool FindProcessesByName(const std::wstring&, std::set<std::uint32_t>&) {
    return false;
}

bool CheckWxMiniProgramIntalled(const ProcessMemoryApi&) {
    return false;
}
const ProcessMemoryApi& SystemProcessMemoryApi() {
    static const ProcessMemoryApi none{nullptr, nullptr, nullptr, nullptr};
    return none;
}
void WriteYybLoginCache(const LoginCache&) {}
void ReadYybLoginCache(LoginCache& cache) {
    cache = {};
}

namespace WXMINI_PROGRAM_COMMON {

bool IsSystemPicStart() {
    return false;
}

// A folder that a world has put there holds an SDK that is new and signed.
std::wstring GetYybSdkDir(const std::wstring& sdkPath, bool bMlHost) {
    const std::wstring dir = bMlHost ? sdkPath : sdkPath + L"\\yybsdk";
    return PathFileExistsW(dir.c_str()) != FALSE ? dir : std::wstring();
}
bool IsYybSdkNewVersion(const std::wstring& dir) {
    return PathFileExistsW((dir + L"\\pcyyb_sdk_dll.dll").c_str()) != FALSE;
}
bool IsYybSDKOk(const std::wstring& dir) {
    return IsYybSdkNewVersion(dir);
}

}  // namespace WXMINI_PROGRAM_COMMON

namespace WX_CLIENT {

// A machine without the WeChat client.
void OpenWithWeChat(const AppOpenInfo&, std::string& result) {
    result = "uninstalled";
}
bool OpenProtocolTimeOut(const std::string&, const std::string&, std::string& result, bool) {
    result = "0";
    return false;
}

}  // namespace WX_CLIENT
