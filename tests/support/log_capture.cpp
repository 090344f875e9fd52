#include "tests/support/log_capture.h"

#include <mutex>

#include <gtest/gtest.h>

#include "foundation/log.h"
#include "foundation/text_helpers.h"
#include "tests/support/log_page.h"

namespace {

std::mutex g_mutex;
std::vector<std::string> g_vecLines;

void Collect(const wchar_t* text) {
    std::string line = Utf16ToUtf8(text);
    const std::lock_guard guard(g_mutex);
    g_vecLines.push_back(std::move(line));
}

}  // namespace

LogCapture::LogCapture() {
    const std::lock_guard guard(g_mutex);
    g_vecLines.clear();
    SetLogObserver(&Collect);
    g_bDebugLog.store(1);
}

LogCapture::~LogCapture() {
    g_bDebugLog.store(0);
    SetLogObserver(nullptr);
    for (const std::string& line : Lines()) {
        EXPECT_EQ(LogLineFault(line), "");
    }
}

std::vector<std::string> LogCapture::Lines() const {
    const std::lock_guard guard(g_mutex);
    return g_vecLines;
}

std::size_t LogCapture::Count(std::string_view text) const {
    std::size_t count = 0;
    for (const std::string& line : Lines()) {
        count += IsLogLine(line, text) ? 1 : 0;
    }
    return count;
}

std::string LogCapture::Find(std::string_view part) const {
    for (std::string& line : Lines()) {
        if (line.find(part) != std::string::npos) {
            return std::move(line);
        }
    }
    return {};
}

std::string LogCapture::All() const {
    std::string all;
    for (const std::string& line : Lines()) {
        all += line;
        all += '\n';
    }
    return all;
}
