#include "tests/support/helper_log.h"

#include <algorithm>

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "tests/support/log_page.h"

namespace {

constexpr DWORD kLookAgainMs = 20;

std::wstring ReadWide(const std::wstring& path) {
    const CFileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       0, nullptr));
    LARGE_INTEGER size = {};
    if (!file || GetFileSizeEx(file.get(), &size) == FALSE) {
        return {};
    }
    std::wstring text(static_cast<std::size_t>(size.QuadPart) / sizeof(wchar_t), L'\0');
    DWORD read = 0;
    if (ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &read, nullptr) == FALSE) {
        return {};
    }
    text.resize(read / sizeof(wchar_t));
    return text;
}

}  // namespace

CHelperLog::CHelperLog(DWORD dwProcessId)
    : m_strPath(LR"(C:\temp\zolt\Nexlet)" + std::to_wstring(dwProcessId) + L".log") {}

std::vector<std::string> CHelperLog::Lines() const {
    const std::wstring text = ReadWide(m_strPath);
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find(L"\r\n", at);
        if (end == std::wstring::npos) {
            break;
        }
        const std::wstring line = text.substr(at, end - at);
        const std::size_t tab = line.find(L'\t');
        std::string message = Utf16ToUtf8(tab == std::wstring::npos ? line : line.substr(tab + 1));
        if (message == "start") {
            // Process ids are reused: earlier lines belong to another run.
            lines.clear();
        }
        lines.push_back(std::move(message));
        at = end + 2;
    }
    return lines;
}

std::size_t CHelperLog::Count(std::string_view text) const {
    const auto lines = Lines();
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const std::string& line) { return IsLogLine(line, text); }));
}

std::string CHelperLog::Find(std::string_view part) const {
    for (const std::string& line : Lines()) {
        if (line.find(part) != std::string::npos) {
            return line;
        }
    }
    return {};
}

std::vector<std::string> CHelperLog::FindAll(std::string_view part) const {
    auto lines = Lines();
    std::erase_if(lines, [&](const std::string& line) { return line.find(part) == std::string::npos; });
    return lines;
}

std::string CHelperLog::FirstOutOfOrder(const std::vector<std::string>& parts) const {
    std::size_t next = 0;
    for (const std::string& line : Lines()) {
        if (next < parts.size() && line.find(parts[next]) != std::string::npos) {
            ++next;
        }
    }
    return next < parts.size() ? parts[next] : std::string();
}

bool CHelperLog::WaitFor(std::string_view part, std::uint32_t timeoutMs, std::size_t count) const {
    const ULONGLONG startedAt = GetTickCount64();
    for (;;) {
        if (FindAll(part).size() >= count) {
            return true;
        }
        if (GetTickCount64() - startedAt >= timeoutMs) {
            return false;
        }
        Sleep(kLookAgainMs);
    }
}

std::string CHelperLog::Tail(std::size_t count) const {
    auto lines = Lines();
    // The watchdog's round of every second would hide everything else.
    std::erase_if(lines, [](const std::string& line) {
        return line.ends_with("start hang check.") || line.ends_with("enter WindowProc");
    });
    std::string text = "the helper's log ends with:\n";
    for (std::size_t i = lines.size() > count ? lines.size() - count : 0; i < lines.size(); ++i) {
        text += "  " + lines[i].substr(0, 400) + "\n";
    }
    return text;
}

void CHelperLog::Remove() const {
    DeleteFileW(m_strPath.c_str());
}
