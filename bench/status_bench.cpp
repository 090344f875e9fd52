// What a status request costs while a hundred processes run, against going through the list of processes once.
#include "foundation/windows_headers.h"

#include <tlhelp32.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_table.h"
#include "foundation/handle.h"
#include "open/request/mini_program_service.h"
#include "tests/support/private_registry.h"
#include "tests/support/stand_in_process.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr std::size_t kProcesses = 100;
#define NXL_UNINSTALL L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\"

std::size_t WalkProcesses() {
    const CFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != FALSE;
         more = Process32NextW(snapshot.get(), &entry)) {
        ++count;
    }
    return count;
}

}  // namespace

int main() {
    // Client and application are installed, so every probe has work to do. The user's registry is not touched.
    const CPrivateRegistry registry;
    const CTempFolder folder;
    const std::wstring uninstaller = (folder.Path() / L"uninstall.exe").wstring();
    const CRegistryValue application(HKEY_LOCAL_MACHINE, NXL_UNINSTALL L"WeChatMiniProgram", L"UninstallString", 0,
                                     REG_SZ, TextBytes(uninstaller));
    const CRegistryValue client(HKEY_LOCAL_MACHINE, NXL_UNINSTALL L"WeChat", L"UninstallString", 0, REG_SZ,
                                TextBytes(uninstaller));
    std::vector<std::unique_ptr<CStandInProcess>> others;
    for (std::size_t i = 0; i < kProcesses; ++i) {
        others.push_back(std::make_unique<CStandInProcess>(folder.Path() / L"other.exe"));
    }
    std::printf("%zu processes\n", WalkProcesses());

    WxMiniProgramService service;
    BenchTable table("a status request among a hundred processes");
    table.Add("go through the processes once", [](std::size_t count) {
        for (; count > 0; --count) {
            Keep(WalkProcesses());
        }
    });
    table.Add("GetWxAppStatus", [&](std::size_t count) {
        for (std::string result; count > 0; --count) {
            service.GetWxAppStatus(result);
            Keep(result);
        }
    });
    table.Run();
    return 0;
}
