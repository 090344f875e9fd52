// The files of the SDKs as a helper finds them.
#pragma once

#include <string>

#include "nexctl/doctor/facts.h"

// Fills wxSdk and yybSdk for the helper's program at this path.
void LookAtSdks(const std::wstring& program, bool mlHost, DoctorFacts& facts);

// "1.0.345.0" of the version record of a file; empty without one.
std::string FileVersionOf(const std::wstring& path);
