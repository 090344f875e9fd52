#include "world/program/request_lines.h"

#include "foundation/windows_headers.h"

#include "foundation/text_helpers.h"
#include "tooling/text_file.h"

namespace {

constexpr DWORD kLookEveryMs = 20;

}  // namespace

std::vector<std::string> RequestLines(const std::filesystem::path& file, const std::string& part) {
    std::string text;
    ReadTextFile(Utf16ToUtf8(file.wstring()), text);
    std::vector<std::string> lines;
    for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        const std::string line = text.substr(at, end - at);
        if (line.find(part) != std::string::npos) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<std::string> AwaitRequestLines(const std::filesystem::path& file, const std::string& part,
                                           std::uint32_t timeMs) {
    const ULONGLONG startedAt = GetTickCount64();
    for (;;) {
        std::vector<std::string> lines = RequestLines(file, part);
        if (!lines.empty() || GetTickCount64() - startedAt >= timeMs) {
            return lines;
        }
        Sleep(kLookEveryMs);
    }
}
