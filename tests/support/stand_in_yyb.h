// The files of the stand-in YYB SDK in a folder of the test.
#pragma once

#include <filesystem>

#include "tests/support/stand_in_beside.h"

class CStandInYyb : public CStandInBeside {
  public:
    // Puts a whole, good SDK there.
    explicit CStandInYyb(const std::filesystem::path& folder);

    // Puts another variant of one file in its place; "" takes it away.
    void Replace(const wchar_t* file, const char* variant);
};
