#include "client/reason.h"

#include <new>
#include <utility>

#include "foundation/text_helpers.h"

namespace {

struct ThreadTexts {
    std::string strReason;
    std::string strLastError;
};

void NTAPI Forget(void* texts) {
    delete static_cast<ThreadTexts*>(texts);
}

// Keeps the system's error number, which access to the slot changes.
class CKeepLastError {
  public:
    CKeepLastError() : m_dwError(GetLastError()) {}
    ~CKeepLastError() { SetLastError(m_dwError); }
    CKeepLastError(const CKeepLastError&) = delete;
    CKeepLastError& operator=(const CKeepLastError&) = delete;

  private:
    const DWORD m_dwError;
};

// A slot of the system's, not one of the compiler's run time, of which the program may hold a copy of its own.
const DWORD g_nSlot = FlsAlloc(Forget);

// Null when none were made for this thread, or, with make, when there is no room for them.
ThreadTexts* Texts(bool make) {
    if (g_nSlot == FLS_OUT_OF_INDEXES) {
        return nullptr;
    }
    auto* texts = static_cast<ThreadTexts*>(FlsGetValue(g_nSlot));
    if (texts != nullptr || !make) {
        return texts;
    }
    texts = new (std::nothrow) ThreadTexts;
    // The system calls Forget at the end of the thread, so this module must stay.
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&Forget), &module);
    if (texts != nullptr && FlsSetValue(g_nSlot, texts) == FALSE) {
        delete texts;
        texts = nullptr;
    }
    return texts;
}

// How many bytes the sequence at the begin of text has, 0 when it is none.
std::size_t SequenceLength(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char first = byte(0);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t at = 1; at < length; ++at) {
        if ((byte(at) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // Forms that are too long, surrogates, and what is above the last code point.
    const unsigned char second = byte(1);
    const bool bad = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                     (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return bad ? 0 : length;
}

}  // namespace

void SetReason(std::string reason) {
    const CKeepLastError keep;
    if (ThreadTexts* const texts = Texts(!reason.empty()); texts != nullptr) {
        texts->strReason = std::move(reason);
    }
}

std::string TakeReason() {
    const CKeepLastError keep;
    ThreadTexts* const texts = Texts(false);
    return texts != nullptr ? std::exchange(texts->strReason, {}) : std::string();
}

CallerResult BadArgument(std::string reason) {
    SetReason(std::move(reason));
    return CallerResult::BadArgument;
}

void SetLastErrorText(std::string text) {
    const CKeepLastError keep;
    if (ThreadTexts* const texts = Texts(true); texts != nullptr) {
        texts->strLastError = std::move(text);
    }
}

const char* LastErrorText() {
    const CKeepLastError keep;
    const ThreadTexts* const texts = Texts(false);
    return texts != nullptr ? texts->strLastError.c_str() : "";
}

std::string SystemWords(DWORD error) {
    const CKeepLastError keep;
    wchar_t words[512] = {};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error, 0, words,
                                  static_cast<DWORD>(std::size(words)), nullptr);
    while (length > 0 && (words[length - 1] == L'\n' || words[length - 1] == L'\r' || words[length - 1] == L' ')) {
        --length;
    }
    const std::string number = "(" + std::to_string(error) + ")";
    return length == 0 ? "error " + number : Utf16ToUtf8(std::wstring(words, length)) + " " + number;
}

bool CheckUtf8(std::string_view text, const char* name) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = SequenceLength(text.substr(at));
        if (length == 0) {
            SetReason(std::string(name) + " is not UTF-8 at byte " + std::to_string(at));
            return false;
        }
        at += length;
    }
    return true;
}
