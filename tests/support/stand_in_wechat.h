// The stand-in WeChat client, installed for the length of a scope.
#pragma once

#include <filesystem>
#include <string>

#include "tests/support/stand_in_beside.h"
#include "tests/support/stand_in_process.h"

class CStandInWeChat : public CStandInBeside {
  public:
    // Puts it in a folder of the test and makes it the installed client of the machine, for a scheme of its own.
    explicit CStandInWeChat(const std::filesystem::path& folder);
    // Ends its windows and takes everything back.
    ~CStandInWeChat();
    CStandInWeChat(const CStandInWeChat&) = delete;
    CStandInWeChat& operator=(const CStandInWeChat&) = delete;

    // A URL of its scheme, UTF-8.
    std::string Url(const std::string& rest) const;

  private:
    const std::filesystem::path m_program;
    const std::wstring m_strScheme;
    CTestEvent m_stop;
};
