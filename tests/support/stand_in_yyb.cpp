#include "tests/support/stand_in_yyb.h"

#include <algorithm>
#include <fstream>

#include <gtest/gtest.h>

#include "foundation/windows_headers.h"
#include "tests/support/stand_in_process.h"

CStandInYyb::CStandInYyb(const std::filesystem::path& folder) : m_folder(folder) {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(WorldFolder() / L"yyb" / L"androws_logo.png", folder / L"androws_logo.png");
    for (const wchar_t* file : {L"pcyyb_sdk_dll.dll", L"qimei.dll", L"AndrowsInstaller.exe"}) {
        Replace(file, "good");
    }
}

void CStandInYyb::Replace(const wchar_t* file, const char* variant) {
    std::filesystem::remove(m_folder / file);
    if (*variant != 0) {
        std::filesystem::copy_file(WorldFolder() / L"yyb" / variant / file, m_folder / file);
    }
}

void CStandInYyb::Set(const wchar_t* key, const std::wstring& value) {
    const std::filesystem::path settings = m_folder / L"pcyyb.ini";
    EXPECT_TRUE(WritePrivateProfileStringW(L"pcyyb", key, value.c_str(), settings.c_str()));
}

std::vector<std::string> CStandInYyb::Calls() const {
    std::ifstream file(m_folder / L"pcyyb_calls.txt");
    std::vector<std::string> calls;
    for (std::string line; std::getline(file, line);) {
        calls.push_back(line);
    }
    return calls;
}

std::vector<std::string> CStandInYyb::Calls(const std::string& name) const {
    std::vector<std::string> calls = Calls();
    std::erase_if(calls, [&](const std::string& call) { return !call.starts_with(name); });
    return calls;
}

bool CStandInYyb::WaitForCall(const std::string& call) const {
    return WaitUntil([&] { return std::ranges::count(Calls(), call) > 0; });
}
