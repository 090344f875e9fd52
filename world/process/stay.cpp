#include "world/process/stay.h"

#include <shellapi.h>

bool CStay::Take(const std::vector<std::wstring>& words, std::size_t& index) {
    if (index + 1 >= words.size()) {
        return false;
    }
    const std::wstring& value = words[index + 1];
    if (words[index] == L"--stop") {
        m_vecEnds.push_back(OpenEventW(SYNCHRONIZE, FALSE, value.c_str()));
    } else if (words[index] == L"--parent") {
        m_vecEnds.push_back(OpenProcess(SYNCHRONIZE, FALSE, std::stoul(value)));
    } else if (words[index] == L"--ready") {
        m_strReady = value;
    } else {
        return false;
    }
    ++index;
    return true;
}

int CStay::Begin() const {
    for (const HANDLE end : m_vecEnds) {
        if (end == nullptr) {
            return 2;
        }
    }
    return m_vecEnds.empty() ? 3 : 0;
}

bool CStay::SayReady() const {
    if (m_strReady.empty()) {
        return true;
    }
    const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, m_strReady.c_str());
    if (event == nullptr) {
        return false;
    }
    SetEvent(event);
    CloseHandle(event);
    return true;
}

void CStay::Stay(bool bDispatches) const {
    const auto ends = static_cast<DWORD>(m_vecEnds.size());
    if (!bDispatches) {
        WaitForMultipleObjects(ends, m_vecEnds.data(), FALSE, INFINITE);
        return;
    }
    while (MsgWaitForMultipleObjects(ends, m_vecEnds.data(), FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + ends) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
    }
}

std::vector<std::wstring> CommandLineWords() {
    int count = 0;
    wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
    if (words == nullptr) {
        return {};
    }
    const std::vector<std::wstring> copies(words, words + count);
    LocalFree(static_cast<void*>(words));
    return copies;
}

HWND MakeWindow(const std::wstring& className, const std::wstring& title, WNDPROC procedure) {
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.lpszClassName = className.c_str();
    if (RegisterClassExW(&windowClass) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
        return nullptr;
    }
    const HWND window = CreateWindowExW(0, className.c_str(), title.c_str(), WS_POPUP, 0, 0, 1, 1, nullptr, nullptr,
                                        windowClass.hInstance, nullptr);
    return window != nullptr ? window
                             : CreateWindowExW(0, className.c_str(), title.c_str(), 0, 0, 0, 0, 0, HWND_MESSAGE,
                                               nullptr, windowClass.hInstance, nullptr);
}
