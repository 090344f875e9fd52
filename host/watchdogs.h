// The two watchdogs: one samples the process's share of the processors and closes, then kills it; the other probes the
// message window and kills the process at the first probe that is not answered.
#pragma once

#include "foundation/windows_headers.h"

#include <atomic>
#include <cstdint>

class CommzoltHelperS;

// How long the main thread may take for one answer, and for its start.
inline constexpr UINT kProbeTimeoutMs = 15000;

// Non-zero skips the probe of the message window. Nothing sets it.
extern std::atomic<std::uint8_t> g_bHangCheckPaused;

// Thread procedures; neither ends while all is well. The CPU watchdog ends when the system's query cannot be found,
// the hang watchdog when there is no message window or no host.
DWORD WINAPI MonCPUUsageThreadFunc(void* ignored);
DWORD WINAPI HangWatcherThreadFunc(void* host);

// Reports that the main thread has not got through its start in time, as a probe of its window that found no answer,
// and ends the process.
void EndHangingStart();

using NtQuerySystemInformationFunction = LONG(NTAPI*)(ULONG infoClass, void* data, ULONG size, ULONG* needed);

// The share of the whole machine, in percent, that a process had during one second, which the call takes. False leaves
// usage alone.
bool CalculateCpuUsage(DWORD processId, NtQuerySystemInformationFunction query, double* usage);

// What the loops of the watchdogs do to their surroundings; tests give their own.
struct CpuWatchSteps {
    bool (*pfnPause)(void* context, DWORD milliseconds);  // false ends the loop
    bool (*pfnSample)(void* context, double& usage);
    void (*pfnKill)(void* context);
    void* pContext;
    const CommzoltHelperS* pHost;  // weak: says whether there is a window
};
void RunCpuWatch(const CpuWatchSteps& steps);

struct HangWatchSteps {
    bool (*pfnPause)(void* context, DWORD milliseconds);  // false ends the loop
    bool (*pfnProbe)(void* context, HWND window, DWORD_PTR& result);
    void (*pfnKill)(void* context);
    std::uint64_t (*pfnAwakeMs)(void* context);  // a clock that stops while the machine sleeps
    void* pContext;
};
void RunHangWatch(const HangWatchSteps& steps);
