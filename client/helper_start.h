// Starting the helper: its command line and its process.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "client/caller_result.h"
#include "foundation/handle.h"

// What the helper reads from its command line. Empty members leave their switch out.
struct HelperStart {
    std::wstring strExe;       // full path of the program
    std::wstring strMark;      // /from:, the mark of the product
    std::string strServiceId;  // /service_id:, UTF-8
    std::string strChannel;    // /channel:, JSON text, sent as base64
    std::wstring strType;      // /type:, unchanged
    std::string strParam;      // /param:, an envelope's JSON text, sent as base64
};

// Standard base64 with padding, without line breaks.
std::string Base64Encode(std::string_view bytes);

// The channel text of the four keys that the helper and its bindings read. A mark that contains "ml" sends channel_id
// as a number, any other as a text: the helper's bindings insist on it.
std::string MakeChannelText(std::wstring_view strMark, std::string_view strMid, std::uint32_t nChannelId,
                            std::string_view strProduct, std::string_view strFrom);

// The command line with the program's quoted path in front. A value with a blank is put in quotation marks; a value
// with a quotation mark or with one of the switches in it, or one longer than the helper reads, gives BadArgument.
CallerResult BuildHelperCommandLine(const HelperStart& start, std::wstring& commandLine);

struct StartedProcess {
    CKernelHandle hProcess;
    DWORD dwProcessId = 0;
};

// Runs a command line of the program strExe with nothing inherited and the program's folder as current directory. On
// failure systemError holds the reason.
CallerResult StartProgram(const std::wstring& strExe, const std::wstring& commandLine, StartedProcess& process,
                          DWORD& systemError);
