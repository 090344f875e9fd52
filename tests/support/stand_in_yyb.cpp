#include "tests/support/stand_in_yyb.h"

#include "tests/support/stand_in_process.h"

CStandInYyb::CStandInYyb(const std::filesystem::path& folder) : CStandInBeside(folder, L"pcyyb") {
    std::filesystem::create_directories(folder);
    std::filesystem::copy_file(WorldFolder() / L"yyb" / L"androws_logo.png", folder / L"androws_logo.png");
    for (const wchar_t* file : {L"pcyyb_sdk_dll.dll", L"qimei.dll", L"AndrowsInstaller.exe"}) {
        Replace(file, "good");
    }
}

void CStandInYyb::Replace(const wchar_t* file, const char* variant) {
    std::filesystem::remove(Folder() / file);
    if (*variant != 0) {
        std::filesystem::copy_file(WorldFolder() / L"yyb" / variant / file, Folder() / file);
    }
}
