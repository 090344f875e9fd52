#include "tests/support/stand_in_wechat.h"

#include <algorithm>
#include <system_error>

#include <gtest/gtest.h>

#include "foundation/text_helpers.h"
#include "tests/support/unique_name.h"

namespace {

// A scheme knows letters, digits and hyphens.
std::wstring UniqueScheme() {
    std::wstring scheme = UniqueName(L"nexlet-wechat");
    std::ranges::replace(scheme, L'_', L'-');
    return scheme;
}

}  // namespace

CStandInWeChat::CStandInWeChat(const std::filesystem::path& folder)
    : CStandInBeside(folder, L"wechat"), m_program(folder / L"WeChat.exe"), m_strScheme(UniqueScheme()) {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(WorldFolder() / L"WeChat.exe", m_program);
    Set(L"scheme", m_strScheme);
    Set(L"stop", m_stop.Name());
    Set(L"stay_ms", L"60000");
    EXPECT_EQ(RunToEnd(m_program, L"register"), 0u);
}

CStandInWeChat::~CStandInWeChat() {
    m_stop.Set();
    EXPECT_EQ(RunToEnd(m_program, L"unregister"), 0u);
    // The shell has started it, so there is no handle to wait on: its file is free once the last process has ended.
    std::error_code error;
    EXPECT_TRUE(WaitUntil([&] { return std::filesystem::remove(m_program, error); })) << error.message();
}

std::string CStandInWeChat::Url(const std::string& rest) const {
    return Utf16ToUtf8(m_strScheme) + "://" + rest;
}
