// Files, named pipes, overlapped operations and completion ports.
#pragma once

#include "simulation/include/winapi/objects.h"
#include "simulation/include/winapi/types.h"

#define GENERIC_READ 0x80000000U
#define GENERIC_WRITE 0x40000000U
#define FILE_SHARE_READ 1U
#define FILE_SHARE_WRITE 2U
#define FILE_SHARE_DELETE 4U
#define CREATE_NEW 1U
#define CREATE_ALWAYS 2U
#define OPEN_EXISTING 3U
#define OPEN_ALWAYS 4U
#define TRUNCATE_EXISTING 5U
#define FILE_ATTRIBUTE_DIRECTORY 0x10U
#define FILE_ATTRIBUTE_NORMAL 0x80U
#define FILE_FLAG_OVERLAPPED 0x40000000U
#define FILE_FLAG_WRITE_THROUGH 0x80000000U
#define FILE_FLAG_FIRST_PIPE_INSTANCE 0x00080000U
#define FILE_BEGIN 0U
#define FILE_CURRENT 1U
#define FILE_END 2U

struct OVERLAPPED {
    ULONG_PTR Internal;      // the state of the operation
    ULONG_PTR InternalHigh;  // bytes moved
    union {
        struct {
            DWORD Offset;
            DWORD OffsetHigh;
        };
        PVOID Pointer;
    };
    HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;

HANDLE CreateFileW(LPCWSTR szName, DWORD dwAccess, DWORD dwShareMode, LPSECURITY_ATTRIBUTES pAttributes,
                   DWORD dwDisposition, DWORD dwFlags, HANDLE hTemplate);
BOOL ReadFile(HANDLE hFile, LPVOID pBuffer, DWORD nBytes, LPDWORD pRead, LPOVERLAPPED pOverlapped);
BOOL WriteFile(HANDLE hFile, LPCVOID pBuffer, DWORD nBytes, LPDWORD pWritten, LPOVERLAPPED pOverlapped);
DWORD SetFilePointer(HANDLE hFile, LONG nDistance, LONG* pDistanceHigh, DWORD dwMethod);
BOOL CreateDirectoryW(LPCWSTR szName, LPSECURITY_ATTRIBUTES pAttributes);
BOOL GetOverlappedResult(HANDLE hFile, LPOVERLAPPED pOverlapped, LPDWORD pBytes, BOOL bWait);
BOOL CancelIoEx(HANDLE hFile, LPOVERLAPPED pOverlapped);

#define PIPE_ACCESS_INBOUND 1U
#define PIPE_ACCESS_OUTBOUND 2U
#define PIPE_ACCESS_DUPLEX 3U
#define PIPE_TYPE_BYTE 0U
#define PIPE_TYPE_MESSAGE 4U
#define PIPE_READMODE_BYTE 0U
#define PIPE_WAIT 0U
#define PIPE_REJECT_REMOTE_CLIENTS 8U
#define PIPE_UNLIMITED_INSTANCES 255U
#define FILE_SKIP_COMPLETION_PORT_ON_SUCCESS 1U

HANDLE CreateNamedPipeW(LPCWSTR szName, DWORD dwOpenMode, DWORD dwPipeMode, DWORD nMaxInstances, DWORD nOutBufferSize,
                        DWORD nInBufferSize, DWORD nDefaultTimeOut, LPSECURITY_ATTRIBUTES pAttributes);
BOOL WaitNamedPipeW(LPCWSTR szName, DWORD dwMilliseconds);
BOOL ConnectNamedPipe(HANDLE hPipe, LPOVERLAPPED pOverlapped);
BOOL DisconnectNamedPipe(HANDLE hPipe);
BOOL PeekNamedPipe(HANDLE hPipe, LPVOID pBuffer, DWORD nBytes, LPDWORD pRead, LPDWORD pAvailable, LPDWORD pLeft);
BOOL GetNamedPipeInfo(HANDLE hPipe, LPDWORD pFlags, LPDWORD pOutSize, LPDWORD pInSize, LPDWORD pMaxInstances);
BOOL GetNamedPipeServerProcessId(HANDLE hPipe, PULONG pProcessId);
BOOL GetNamedPipeServerSessionId(HANDLE hPipe, PULONG pSessionId);
BOOL GetNamedPipeClientProcessId(HANDLE hPipe, PULONG pProcessId);

HANDLE CreateIoCompletionPort(HANDLE hFile, HANDLE hPort, ULONG_PTR nKey, DWORD nThreads);
BOOL SetFileCompletionNotificationModes(HANDLE hFile, UCHAR nFlags);
BOOL GetQueuedCompletionStatus(HANDLE hPort, LPDWORD pBytes, ULONG_PTR* pKey, LPOVERLAPPED* ppOverlapped,
                               DWORD dwMilliseconds);
BOOL PostQueuedCompletionStatus(HANDLE hPort, DWORD nBytes, ULONG_PTR nKey, LPOVERLAPPED pOverlapped);
