// The files of the YYB SDK: where they are, and whether they are new enough and the publisher's. Any thread.
#pragma once

#include <string>

namespace WXMINI_PROGRAM_COMMON {

// The folder of the SDK; empty when it does not exist. An "ml" host has it in sdkPath itself.
std::wstring GetYybSdkDir(const std::wstring& sdkPath, bool bMlHost);

// The library and the installer have the version that this program needs.
bool IsYybSdkNewVersion(const std::wstring& dir);

// All files are there, and those that can be signed bear the publisher's name. What that is worth is said in
// support/signer/sign_info.h.
bool IsYybSDKOk(const std::wstring& dir);

}  // namespace WXMINI_PROGRAM_COMMON
