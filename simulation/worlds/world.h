// A world: what is run under one seed, with what must hold in it.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "simulation/kernel/random.h"

namespace simulation {

class CProcess;

struct World {
    const char* szName;
    // It has the product's static objects: each of its seeds gets a process of the operating system's own.
    bool bAlone;
    // Runs as the main thread of the machine's first process, which is the helper's. What it draws from random is the
    // same for every schedule and every fault of the seed.
    void (*pfnRun)(CRandom random);
};

// Callers that serve pipes, and the helper's connections to them.
void RunCallersWorld(CRandom random);

// The whole helper with its callers.
void RunHelperWorld(CRandom random);

// A program that uses the caller's library, and the helper that it starts.
void RunClientWorld(CRandom random);

// A small program with a race, to see that a failing seed is found and shortened.
void RunRaceWorld(CRandom random);

// Whether this optional part of the world is there. A failing seed is shortened by leaving parts out. A world asks
// after it has drawn everything about the part, so that the others stay as they are. nThreads: how many threads the
// calling one starts for the part.
bool IsOn(const std::string& strPart, std::uint32_t nThreads = 0);
void LeaveOut(std::set<std::string> parts);
// Those that were asked for in this run and are there.
const std::vector<std::string>& PartsThere();

// Ends the run with a report when the condition does not hold.
void Hold(bool bCondition, const std::string& strWhat);

// Puts a line of the product's own log into the trace.
void NoteLog(const std::wstring& strLine);

// Runs work as the main thread of a process of its own and returns the process's handle, which the caller closes. added
// is called before the process runs.
void* StartProcess(std::function<void()> work, std::wstring strFile = L"C:\\caller\\caller.exe",
                   const std::function<void(const std::shared_ptr<CProcess>&)>& added = nullptr);
// Ends the calling process where it is, with all its threads and handles.
[[noreturn]] void Vanish();
// What the calling process does from here on, the calling thread and those that it starts, is not watched by
// ThreadSanitizer: it is no code of the product, or shares static objects with another process.
void WatchNoRaces();

}  // namespace simulation
