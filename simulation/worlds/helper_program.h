// The helper as a program of the machine: each start of it is a process with static objects of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace simulation {

class CProcess;

// How often the whole helper can run in one world, one after the other or at once. The program holds its code so many
// times.
inline constexpr std::uint32_t kHelperImages = 3;

// The program's file; a program in the same folder finds it there.
inline constexpr wchar_t kHelperFile[] = L"C:\\product\\bin\\nexlet.exe";

// What a start of the program does.
enum class HelperStartKind {
    Real,   // all that the helper does; a second start of a mark hands its command line over and ends
    Ends,   // it ends at once
    Idles,  // it runs and does nothing
};

// Makes the program known to the machine. kinds: of the first start, the second and so on; the last one holds for the
// rest. A start that finds no image left ends at once, unless a helper runs.
void InstallHelperProgram(const std::wstring& strMark, std::vector<HelperStartKind> kinds);

// The processes of the program that run.
std::vector<std::shared_ptr<CProcess>> HelperProcesses();

}  // namespace simulation
