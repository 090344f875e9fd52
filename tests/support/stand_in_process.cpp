#include "tests/support/stand_in_process.h"

#include <chrono>

#include <gtest/gtest.h>

#include "tests/support/unique_name.h"

namespace {

CKernelHandle Start(const std::filesystem::path& program, const std::wstring& arguments, std::uint32_t& id) {
    std::wstring commandLine = L"\"" + program.wstring() + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &started)) {
        ADD_FAILURE() << "CreateProcessW " << program << ": " << GetLastError();
        return CKernelHandle();
    }
    CloseHandle(started.hThread);
    id = started.dwProcessId;
    return CKernelHandle(started.hProcess);
}

}  // namespace

std::filesystem::path ProgramFolder() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

std::filesystem::path WorldFolder() {
    return ProgramFolder() / L"world";
}

bool WaitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        Sleep(2);
    }
    return true;
}

CTestEvent::CTestEvent() : m_strName(UniqueName(L"nexlet_test_event")) {
    m_hEvent.reset(CreateEventW(nullptr, TRUE, FALSE, m_strName.c_str()));
    EXPECT_TRUE(m_hEvent.valid());
}

CStandInProcess::CStandInProcess(const std::filesystem::path& path, const std::wstring& arguments,
                                 const wchar_t* program) {
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::copy_file(WorldFolder() / program, path, std::filesystem::copy_options::skip_existing);
    CTestEvent ready;
    m_hProcess = Start(path,
                       L"--stop " + m_stop.Name() + L" --ready " + ready.Name() + L" --parent " +
                           std::to_wstring(GetCurrentProcessId()) + L" " + arguments,
                       m_nId);
    EXPECT_TRUE(ready.Wait()) << path;
}

CStandInProcess::~CStandInProcess() {
    m_stop.Set();
    if (m_hProcess) {
        EXPECT_EQ(WaitForSingleObject(m_hProcess.get(), 10000), WAIT_OBJECT_0);
    }
}

std::uint32_t RunToEnd(const std::filesystem::path& program, const std::wstring& arguments) {
    std::uint32_t id = 0;
    const CKernelHandle process = Start(program, arguments, id);
    DWORD code = 0xFFFFFFFF;
    if (process) {
        EXPECT_EQ(WaitForSingleObject(process.get(), 30000), WAIT_OBJECT_0) << program;
        GetExitCodeProcess(process.get(), &code);
    }
    return code;
}
