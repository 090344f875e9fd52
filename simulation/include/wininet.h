// The types of the system's HTTP functions. The functions themselves are called through a table of the product's, into
// which a world puts its own; the simulated machine has no library of them.
#pragma once

#include "simulation/include/winapi/types.h"

using HINTERNET = void*;
using INTERNET_PORT = WORD;
using INTERNET_SCHEME = int;
#define INTERNET_SCHEME_HTTP 3
#define INTERNET_SCHEME_HTTPS 4
#define INTERNET_SERVICE_HTTP 3U
#define INTERNET_OPEN_TYPE_PRECONFIG 0U
#define INTERNET_OPTION_CONNECT_TIMEOUT 2U
#define INTERNET_OPTION_SEND_TIMEOUT 5U
#define INTERNET_OPTION_RECEIVE_TIMEOUT 6U
#define INTERNET_OPTION_SECURITY_FLAGS 31U
#define INTERNET_FLAG_RELOAD 0x80000000U
#define INTERNET_FLAG_NO_CACHE_WRITE 0x04000000U
#define INTERNET_FLAG_SECURE 0x00800000U
#define INTERNET_FLAG_NO_COOKIES 0x00080000U
#define INTERNET_FLAG_NO_AUTH 0x00040000U
#define INTERNET_FLAG_IGNORE_REDIRECT_TO_HTTP 0x00008000U
#define INTERNET_FLAG_IGNORE_CERT_CN_INVALID 0x00001000U
#define INTERNET_FLAG_NO_UI 0x00000200U
#define SECURITY_FLAG_IGNORE_REVOCATION 0x00000080U
#define SECURITY_FLAG_IGNORE_UNKNOWN_CA 0x00000100U
#define SECURITY_FLAG_IGNORE_CERT_CN_INVALID 0x00001000U
#define SECURITY_FLAG_IGNORE_CERT_DATE_INVALID 0x00002000U
#define HTTP_ADDREQ_FLAG_ADD 0x20000000U
#define HTTP_ADDREQ_FLAG_REPLACE 0x80000000U
#define HTTP_QUERY_CONTENT_LENGTH 5U
#define HTTP_QUERY_STATUS_CODE 19U
#define HTTP_QUERY_RAW_HEADERS_CRLF 22U
#define HTTP_QUERY_CUSTOM 65535U
#define HTTP_QUERY_FLAG_REQUEST_HEADERS 0x80000000U
#define FLAGS_ERROR_UI_FILTER_FOR_ERRORS 1U
#define FLAGS_ERROR_UI_FLAGS_CHANGE_OPTIONS 2U
#define FLAGS_ERROR_UI_FLAGS_GENERATE_DATA 4U
#define ERROR_INTERNET_INCORRECT_PASSWORD 12014U
#define ERROR_INTERNET_FORCE_RETRY 12032U
#define ERROR_INTERNET_INVALID_CA 12045U

struct URL_COMPONENTSW {
    DWORD dwStructSize;
    LPWSTR lpszScheme;
    DWORD dwSchemeLength;
    INTERNET_SCHEME nScheme;
    LPWSTR lpszHostName;
    DWORD dwHostNameLength;
    INTERNET_PORT nPort;
    LPWSTR lpszUserName;
    DWORD dwUserNameLength;
    LPWSTR lpszPassword;
    DWORD dwPasswordLength;
    LPWSTR lpszUrlPath;
    DWORD dwUrlPathLength;
    LPWSTR lpszExtraInfo;
    DWORD dwExtraInfoLength;
};
using LPURL_COMPONENTSW = URL_COMPONENTSW*;

BOOL InternetCrackUrlW(LPCWSTR szUrl, DWORD nLength, DWORD dwFlags, LPURL_COMPONENTSW pParts);
HINTERNET InternetOpenW(LPCWSTR szAgent, DWORD dwType, LPCWSTR szProxy, LPCWSTR szBypass, DWORD dwFlags);
BOOL InternetSetOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID pValue, DWORD nSize);
BOOL InternetQueryOptionW(HINTERNET hInternet, DWORD dwOption, LPVOID pValue, LPDWORD pSize);
HINTERNET InternetConnectW(HINTERNET hSession, LPCWSTR szHost, INTERNET_PORT nPort, LPCWSTR szUser, LPCWSTR szPassword,
                           DWORD dwService, DWORD dwFlags, DWORD_PTR nContext);
HINTERNET HttpOpenRequestW(HINTERNET hConnection, LPCWSTR szVerb, LPCWSTR szPath, LPCWSTR szVersion, LPCWSTR szReferrer,
                           LPCWSTR* pszTypes, DWORD dwFlags, DWORD_PTR nContext);
BOOL HttpAddRequestHeadersW(HINTERNET hRequest, LPCWSTR szHeaders, DWORD nLength, DWORD dwFlags);
BOOL HttpAddRequestHeadersA(HINTERNET hRequest, LPCSTR szHeaders, DWORD nLength, DWORD dwFlags);
BOOL HttpSendRequestW(HINTERNET hRequest, LPCWSTR szHeaders, DWORD nLength, LPVOID pBody, DWORD nBodySize);
BOOL HttpQueryInfoW(HINTERNET hRequest, DWORD dwWhat, LPVOID pBuffer, LPDWORD pSize, LPDWORD pIndex);
BOOL HttpQueryInfoA(HINTERNET hRequest, DWORD dwWhat, LPVOID pBuffer, LPDWORD pSize, LPDWORD pIndex);
BOOL InternetReadFile(HINTERNET hRequest, LPVOID pBuffer, DWORD nBytes, LPDWORD pRead);
HINTERNET InternetOpenUrlW(HINTERNET hSession, LPCWSTR szUrl, LPCWSTR szHeaders, DWORD nLength, DWORD dwFlags,
                           DWORD_PTR nContext);
DWORD InternetErrorDlg(HWND hWindow, HINTERNET hRequest, DWORD dwError, DWORD dwFlags, LPVOID* ppData);
BOOL InternetCloseHandle(HINTERNET hInternet);
