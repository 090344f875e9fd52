// The functions of COM that the process calls at its start and end. The simulated machine has no library of them, so
// each call gives the failure of a missing library.
#pragma once

#include "simulation/include/winapi/types.h"

struct IUnknown;
struct IStream;
struct IID;
using HGLOBAL = void*;

HRESULT CoInitialize(LPVOID pReserved);
HRESULT CoInitializeEx(LPVOID pReserved, DWORD dwKind);
void CoUninitialize();
HRESULT CoCreateInstance(const IID& classId, IUnknown* pOuter, DWORD dwContext, const IID& interfaceId, LPVOID* ppv);
HRESULT CreateStreamOnHGlobal(HGLOBAL hMemory, BOOL bFree, IStream** ppStream);
