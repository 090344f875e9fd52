#include "nexctl/console/console_io.h"

#include <algorithm>

#include "client/native_lock.h"
#include "foundation/text_helpers.h"
#include "foundation/windows_headers.h"
#include "nexctl/console/input_text.h"

namespace {

// Older systems refuse a longer text in one call.
constexpr std::size_t kConsoleUnits = 8000;
constexpr wchar_t kEndOfInput = 0x1A;  // Ctrl+Z

struct StandardHandles {
    HANDLE input = nullptr;
    HANDLE output = nullptr;
    HANDLE error = nullptr;
};
StandardHandles g_handles;  // written by BeginConsole alone
CNativeLock g_lockOutput;   // one text at a time

bool IsConsole(HANDLE handle) {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

HANDLE TakeHandle(DWORD which) {
    const HANDLE handle = GetStdHandle(which);
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) {
        SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
    }
    SetStdHandle(which, nullptr);
    return handle;
}

void WriteToConsole(HANDLE console, std::wstring_view text) {
    while (!text.empty()) {
        std::size_t size = std::min(text.size(), kConsoleUnits);
        // A pair of surrogates stays together.
        if (size < text.size() && size > 1 && IS_HIGH_SURROGATE(text[size - 1])) {
            --size;
        }
        DWORD written = 0;
        if (WriteConsoleW(console, text.data(), static_cast<DWORD>(size), &written, nullptr) == FALSE || written == 0) {
            return;
        }
        text.remove_prefix(written);
    }
}

void WriteToFile(HANDLE file, std::string_view bytes) {
    while (!bytes.empty()) {
        DWORD written = 0;
        if (WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) == FALSE ||
            written == 0) {
            return;
        }
        bytes.remove_prefix(written);
    }
}

bool ReadFromConsole(HANDLE console, std::string& text) {
    std::wstring typed;
    wchar_t chunk[1024];
    for (;;) {
        DWORD count = 0;
        if (ReadConsoleW(console, chunk, static_cast<DWORD>(std::size(chunk)), &count, nullptr) == FALSE) {
            return false;
        }
        // A line that begins with Ctrl+Z ends the input, as for other programs of a console.
        if (count == 0 || chunk[0] == kEndOfInput) {
            text = Utf16ToUtf8(typed);
            return true;
        }
        typed.append(chunk, count);
    }
}

}  // namespace

void BeginConsole() {
    g_handles.input = TakeHandle(STD_INPUT_HANDLE);
    g_handles.output = TakeHandle(STD_OUTPUT_HANDLE);
    g_handles.error = TakeHandle(STD_ERROR_HANDLE);
}

void WriteText(OutputStream stream, std::string_view text) {
    const HANDLE handle = stream == OutputStream::Output ? g_handles.output : g_handles.error;
    const CNativeGuard guard(g_lockOutput);
    if (IsConsole(handle)) {
        std::string shown(text);
        std::replace(shown.begin(), shown.end(), '\0', ' ');  // the conversion would stop there
        WriteToConsole(handle, Utf8ToUtf16(shown));
    } else {
        WriteToFile(handle, text);
    }
}

bool ReadStandardInput(std::string& text) {
    text.clear();
    if (IsConsole(g_handles.input)) {
        return ReadFromConsole(g_handles.input, text);
    }
    std::string bytes;
    char chunk[64 * 1024];
    for (;;) {
        DWORD size = 0;
        const BOOL read = ReadFile(g_handles.input, chunk, sizeof chunk, &size, nullptr);
        if (read == FALSE && GetLastError() != ERROR_BROKEN_PIPE) {
            return false;
        }
        if (read == FALSE || size == 0) {
            text = DecodeInputText(bytes);
            return true;
        }
        bytes.append(chunk, size);
    }
}
