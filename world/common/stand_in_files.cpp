#include "world/common/stand_in_files.h"

#include <utility>

namespace {

// Of the library or program that this file is linked into.
std::wstring OwnFolder() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&OwnFolder), &module);
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    const std::wstring whole(path, length);
    return whole.substr(0, whole.rfind(L'\\') + 1);
}

}  // namespace

std::string Narrow(const std::wstring& wide) {
    std::string narrow(wide.size() * 3, '\0');
    narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                                               narrow.data(), static_cast<int>(narrow.size()), nullptr,
                                                               nullptr)));
    return narrow;
}

CStandInFiles::CStandInFiles(const wchar_t* name)
    : m_strName(name), m_strFolder(OwnFolder()), m_hStop(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}

std::wstring CStandInFiles::Setting(const wchar_t* key, const wchar_t* otherwise) const {
    std::wstring text(4096, L'\0');
    text.resize(GetPrivateProfileStringW(m_strName.c_str(), key, otherwise, text.data(),
                                         static_cast<DWORD>(text.size()), (m_strFolder + m_strName + L".ini").c_str()));
    return text;
}

std::int32_t CStandInFiles::Number(const wchar_t* key, std::int32_t otherwise) const {
    const std::wstring text = Setting(key);
    return text.empty() ? otherwise : static_cast<std::int32_t>(std::stol(text));
}

void CStandInFiles::Record(const std::string& line) const {
    const HANDLE file =
        CreateFileW((m_strFolder + m_strName + L"_calls.txt").c_str(), FILE_APPEND_DATA,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        const std::string text = line + "\n";
        DWORD written = 0;
        WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        CloseHandle(file);
    }
}

bool CStandInFiles::WaitForTurn(const std::wstring& gateName, DWORD delayMs) const {
    if (gateName.empty()) {
        return WaitForSingleObject(m_hStop, delayMs) == WAIT_TIMEOUT;
    }
    const HANDLE gate = OpenEventW(SYNCHRONIZE, FALSE, gateName.c_str());
    if (gate == nullptr) {
        return false;
    }
    const HANDLE both[] = {gate, m_hStop};
    const bool bTurn = WaitForMultipleObjects(2, both, FALSE, INFINITE) == WAIT_OBJECT_0;
    CloseHandle(gate);
    return bTurn;
}

void CStandInFiles::RunThread(std::function<void()> work) {
    auto pDone = std::make_shared<std::atomic<bool>>(false);
    const CNativeGuard guard(m_lock);
    // Threads that have done their work leave nothing, even in a process that opens all day.
    std::erase_if(m_vecThreads, [](Thread& one) {
        if (!one.pDone->load()) {
            return false;
        }
        one.thread.join();
        return true;
    });
    m_vecThreads.push_back({std::thread([work = std::move(work), pDone] {
                                work();
                                pDone->store(true);
                            }),
                            pDone});
}

void CStandInFiles::StopThreads() {
    SetEvent(m_hStop);
    std::vector<Thread> threads;
    {
        const CNativeGuard guard(m_lock);
        threads.swap(m_vecThreads);
    }
    for (Thread& one : threads) {
        one.thread.join();
    }
}
