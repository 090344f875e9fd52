// Frames, and texts that are not JSON.
#include <algorithm>

#include "bench/bench_table.h"
#include "bench/worst_inputs.h"
#include "foundation/text_helpers.h"
#include "host/command_line.h"
#include "ipc/transport/frame.h"
#include "ipc/transport/frame_cutter.h"
#include "open/record/channel_config.h"
#include "support/envelope/rsa_envelope.h"
#include "support/http/beacon_url.h"
#include "support/http/response_headers.h"
#include "support/system/version_rules.h"

namespace {

class CSink final : public IPipeConnectCallback {
  public:
    void Connected() override {}
    void Lost() override {}
    std::uint32_t Received(const unsigned char* data, std::int32_t) override {
        Keep(data);
        return 0;
    }
};

std::string Header(std::uint32_t type, std::uint32_t length) {
    std::string header(kFrameHeaderSize, '\0');
    WriteFrameHeader(reinterpret_cast<unsigned char*>(header.data()), type, length);
    return header;
}

// As a connection does it: reads of 1024 bytes, and a look for frames after each.
void Cut(const std::string& bytes) {
    CFrameCutter cutter;
    CSink sink;
    for (std::size_t at = 0; at < bytes.size(); at += 1024) {
        cutter.Append(bytes.data() + at, std::min<std::size_t>(1024, bytes.size() - at));
        cutter.DispatchFrames(&sink);
    }
}

WorstInput Frames(const char* kind, std::function<std::string(std::size_t size)> make) {
    return TextInput(std::string("frames: ") + kind, std::move(make), &Cut);
}

std::function<std::string(std::size_t)> Of(std::string piece, std::string begin = "", std::string end = "") {
    return [piece = std::move(piece), begin = std::move(begin), end = std::move(end)](std::size_t size) {
        return Repeated(piece, size, begin, end);
    };
}

// A command line is wide; the input counts its characters.
WorstInput CommandLine(const char* kind, std::function<std::string(std::size_t size)> make) {
    return {std::string("command line: ") + kind, [make = std::move(make)](std::size_t size) {
                const std::string text = make(size);
                std::wstring commandLine(text.begin(), text.end());
                return WorstInput::Prepared{
                    text.size(), [commandLine = std::move(commandLine)] {
                        for (const wchar_t* key : {kSwitchFrom, kSwitchChannel, kSwitchType, kSwitchServiceId}) {
                            Keep(ReadSwitch(commandLine, key, kShortSwitchSize));
                        }
                        Keep(ReadSwitch(commandLine, kSwitchParam, commandLine.size()));
                    }};
            }};
}

WorstInput Wide(std::string name, std::function<std::string(std::size_t size)> make,
                std::function<void(const std::wstring& text)> read) {
    return {std::move(name), [make = std::move(make), read = std::move(read)](std::size_t size) {
                const std::string text = make(size);
                std::wstring wide(text.begin(), text.end());
                return WorstInput::Prepared{text.size(), [wide = std::move(wide), read] { read(wide); }};
            }};
}

}  // namespace

void AddFrames(WorstInputs& inputs) {
    inputs.push_back(Frames("one", [](std::size_t size) { return BuildFrame(std::string(size, 'x')); }));
    inputs.push_back(Frames("empty ones", Of(Header(PIPE_FRAME_MAGIC, 0))));
    inputs.push_back(Frames("of one byte", Of(Header(PIPE_FRAME_MAGIC, 1) + "x")));
    inputs.push_back(Frames("of a foreign type", Of(Header(7, 3) + "abc")));
    inputs.push_back(Frames("one of a foreign type", [](std::size_t size) {
        return Header(7, static_cast<std::uint32_t>(size)) + std::string(size, 'x');
    }));
    inputs.push_back(Frames("one that never becomes whole", Of("x", Header(PIPE_FRAME_MAGIC, 0x7FFFFFFF))));
    inputs.push_back(Frames("one too long to be delivered", Of("x", Header(PIPE_FRAME_MAGIC, 0xFFFFFFFF))));
    inputs.push_back(Frames("no frames at all", Of("\xFF")));
    inputs.push_back(Frames("a long one after each short one", [](std::size_t size) {
        return Repeated(BuildFrame("x") + BuildFrame(std::string(5000, 'y')), size);
    }));
}

void AddTexts(WorstInputs& inputs) {
    const auto base64 = [](const std::string& text) {
        std::string decoded;
        Base64Decode(text, decoded);
        Keep(decoded);
    };
    inputs.push_back(TextInput("base64: letters", Of("Ab9+"), base64));
    inputs.push_back(TextInput("base64: nothing of the alphabet", Of("#"), base64));
    inputs.push_back(TextInput("base64: every second one of the alphabet", Of("A#"), base64));
    inputs.push_back(TextInput("base64: lines", Of("AbCd\r\n"), base64));

    const auto escape = [](const std::string& text) { Keep(UrlEscapeString(text)); };
    inputs.push_back(TextInput("escape: letters", Of("a"), escape));
    inputs.push_back(TextInput("escape: percent signs", Of("%"), escape));
    inputs.push_back(TextInput("escape: bytes above 0x7F", Of("\xE4\xB8\xAD"), escape));
    inputs.push_back(TextInput("escape into a buffer: percent signs", Of("%"), [](const std::string& text) {
        std::string target(3 * text.size() + 1, '\0');
        Keep(UrlEscape(text.data(), text.size(), target.data(), target.size()));
    }));

    const auto widen = [](const std::string& text) { Keep(Utf8ToUtf16(text)); };
    inputs.push_back(TextInput("UTF-8: letters", Of("a"), widen));
    inputs.push_back(TextInput("UTF-8: characters of 3 bytes", Of("\xE4\xB8\xAD"), widen));
    inputs.push_back(TextInput("UTF-8: broken sequences", Of("\xF0\x9F\x98"), widen));
    inputs.push_back(TextInput("UTF-8: bytes that never begin one", Of("\xBF"), widen));
    const auto narrow = [](const std::wstring& text) { Keep(Utf16ToUtf8(text)); };
    inputs.push_back(Wide("UTF-16: letters", Of("a"), narrow));

    inputs.push_back(TextInput("envelope text: a text to seal", Of("a"),
                               [](const std::string& text) { Keep(UrlEscapeString(RsaEncryptToString(text))); }));

    inputs.push_back(CommandLine("nothing", Of("x")));
    inputs.push_back(CommandLine("slashes", Of("/")));
    inputs.push_back(CommandLine("keys that nearly are one", Of("/from/channel/type/param/service_id")));
    inputs.push_back(CommandLine("the keys again and again", Of("/from:a /param:b /service_id:c ")));
    inputs.push_back(CommandLine("a quotation mark that is not closed", Of("x", "/param:\"")));
    inputs.push_back(CommandLine("a long value", Of("QUJD", "/param:")));
    inputs.push_back(Wide("command line: the value of /param:", Of("QUJD"),
                          [](const std::wstring& value) { Keep(DecodeSwitch(value)); }));

    const auto version = [](const std::wstring& text) {
        FourPartVersion parts = 0;
        Keep(ParseVersionText(text, parts));
    };
    inputs.push_back(Wide("version: digits", Of("1"), version));
    inputs.push_back(Wide("version: parts", Of("1."), version));
    inputs.push_back(Wide("version: delimiters", Of(".|,"), version));
    inputs.push_back(Wide("version: one delimiter of three", Of("1,"), version));

    const auto channel = [](const std::string& text) {
        try {
            Keep(ParseDecimalUnsigned(text));
        } catch (const std::exception& error) {
            Keep(error);  // settled: it ends the process
        }
    };
    inputs.push_back(TextInput("channel id: blanks", Of(" "), channel));
    inputs.push_back(TextInput("channel id: zeros", Of("0"), channel));

    inputs.push_back(Wide("beacon: schemes", Of("https"), [](const std::wstring& url) { Keep(WithPlainScheme(url)); }));
    inputs.push_back(
        Wide("beacon: one long scheme", Of("s", "http"), [](const std::wstring& url) { Keep(WithPlainScheme(url)); }));
    inputs.push_back(Wide("beacon: a long URL", Of("u"),
                          [](const std::wstring& url) { Keep(StatisticsBeaconUrl(url, false, 1, L"m")); }));

    // A response with that many values of one name; the input counts the bytes that are handed over.
    inputs.push_back(
        {"response headers: values of one name", [](std::size_t size) {
             const auto count = static_cast<std::uint32_t>(size / 64);
             return WorstInput::Prepared{
                 size, [count] {
                     Keep(CaptureHeaders({"X"}, [count](char* buffer, std::uint32_t&, std::uint32_t& index) {
                         std::fill_n(buffer, 63, 'v');
                         buffer[63] = '\0';
                         return ++index <= count ? HeaderAnswer::Found : HeaderAnswer::Failed;
                     }));
                 }};
         }});
}
