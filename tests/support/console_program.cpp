#include "tests/support/console_program.h"

#include "foundation/handle.h"
#include "foundation/text_helpers.h"
#include "tests/support/unique_name.h"

namespace {

// By the rules of the C runtime's own reader.
std::wstring Quoted(const std::wstring& argument) {
    std::wstring text = L"\"";
    std::size_t slashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'\\') {
            ++slashes;
            continue;
        }
        text.append(c == L'"' ? slashes * 2 + 1 : slashes, L'\\');
        slashes = 0;
        text += c;
    }
    text.append(slashes * 2, L'\\');
    return text + L"\"";
}

// Files and no pipes: a program that outlives the one that is run may keep them open for as long as it likes.
CFileHandle MakeFile(const std::wstring& path) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    return CFileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited, CREATE_ALWAYS, 0,
                                   nullptr));
}

std::string TakeText(CFileHandle& file, const std::wstring& path) {
    LARGE_INTEGER size = {};
    GetFileSizeEx(file.get(), &size);
    SetFilePointer(file.get(), 0, nullptr, FILE_BEGIN);
    std::string text(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr);
    text.resize(read);
    file.reset();
    DeleteFileW(path.c_str());
    return text;
}

}  // namespace

ConsoleRun RunConsoleProgram(const std::wstring& exe, const std::vector<std::string>& arguments,
                             const std::string& input, std::uint32_t timeoutMs) {
    std::wstring line = Quoted(exe);
    for (const std::string& argument : arguments) {
        line += L" " + Quoted(Utf8ToUtf16(argument));
    }
    return RunCommandLine(exe, line, input, timeoutMs);
}

ConsoleRun RunCommandLine(const std::wstring& exe, const std::wstring& commandLine, const std::string& input,
                          std::uint32_t timeoutMs) {
    // The system may write into the command line's buffer.
    std::wstring line = commandLine;
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    const std::wstring stem = temp + UniqueName(L"console");
    CFileHandle in = MakeFile(stem + L".in");
    CFileHandle out = MakeFile(stem + L".out");
    CFileHandle err = MakeFile(stem + L".err");
    DWORD written = 0;
    WriteFile(in.get(), input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
    SetFilePointer(in.get(), 0, nullptr, FILE_BEGIN);

    ConsoleRun run;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = in.get();
    startup.hStdOutput = out.get();
    startup.hStdError = err.get();
    PROCESS_INFORMATION made = {};
    run.bStarted =
        CreateProcessW(exe.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &made) != FALSE;
    if (run.bStarted) {
        const CKernelHandle process(made.hProcess);
        const CKernelHandle thread(made.hThread);
        run.bEnded = WaitForSingleObject(process.get(), timeoutMs) == WAIT_OBJECT_0;
        if (!run.bEnded) {
            TerminateProcess(process.get(), 99);
            WaitForSingleObject(process.get(), timeoutMs);
        }
        GetExitCodeProcess(process.get(), &run.dwExitCode);
    }
    TakeText(in, stem + L".in");
    run.strOut = TakeText(out, stem + L".out");
    run.strErr = TakeText(err, stem + L".err");
    return run;
}
