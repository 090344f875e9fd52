#include "tests/support/stand_in_beside.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "foundation/windows_headers.h"
#include "tests/support/stand_in_process.h"

CStandInBeside::CStandInBeside(const std::filesystem::path& folder, const std::wstring& name)
    : m_folder(folder), m_strName(name) {}

void CStandInBeside::Set(const wchar_t* key, const std::wstring& value) {
    const std::filesystem::path settings = m_folder / (m_strName + L".ini");
    if (!std::filesystem::exists(settings)) {
        // With this mark the file is UTF-16, so that every text fits.
        std::ofstream(settings, std::ios::binary) << "\xFF\xFE";
    }
    EXPECT_TRUE(WritePrivateProfileStringW(m_strName.c_str(), key, value.c_str(), settings.c_str()));
}

void CStandInBeside::BreakText(const wchar_t* file, const std::string& text) const {
    std::ifstream input(m_folder / file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(input)), std::istreambuf_iterator<char>());
    input.close();
    const std::string alone = '\0' + text + '\0';
    int nBroken = 0;
    for (std::size_t at = bytes.find(alone); at != std::string::npos; at = bytes.find(alone, at + 1)) {
        ++bytes[at + text.size()];
        ++nBroken;
    }
    EXPECT_GT(nBroken, 0) << text;
    std::ofstream(m_folder / file, std::ios::binary) << bytes;
}

std::vector<std::string> CStandInBeside::Calls() const {
    std::ifstream file(m_folder / (m_strName + L"_calls.txt"));
    std::vector<std::string> calls;
    for (std::string line; std::getline(file, line);) {
        calls.push_back(line);
    }
    return calls;
}

std::vector<std::string> CStandInBeside::Calls(const std::string& name) const {
    std::vector<std::string> calls = Calls();
    std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(name); });
    return calls;
}

bool CStandInBeside::WaitForCall(const std::string& call) const {
    return WaitUntil([&] { return std::ranges::count(Calls(), call) > 0; });
}
