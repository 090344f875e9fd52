// Every switch of any command line is read within its size, and what it carries is decoded or refused.
#include <cstddef>
#include <cstdint>
#include <cwctype>
#include <stdexcept>
#include <string>

#include "foundation/text_helpers.h"
#include "fuzz/fuzz_check.h"
#include "host/command_line.h"

namespace {

void CheckSwitch(const std::wstring& commandLine, const std::wstring& key, std::size_t size) {
    const auto value = ReadSwitch(commandLine, key.c_str(), size);
    FUZZ_CHECK(value.has_value() == (commandLine.find(key) != std::wstring::npos));
    if (value) {
        FUZZ_CHECK(value->size() < size);
        // The value follows the key, with a quotation mark between at most.
        const std::size_t at = commandLine.find(key) + key.size();
        FUZZ_CHECK(commandLine.compare(at, value->size(), *value) == 0 ||
                   commandLine.compare(at, value->size() + 1, L'"' + *value) == 0);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    // A command line ends at its first NUL.
    const std::wstring commandLine = Utf8ToUtf16(bytes);

    CheckSwitch(commandLine, kSwitchFrom, kShortSwitchSize);
    CheckSwitch(commandLine, kSwitchChannel, kChannelSwitchSize);
    CheckSwitch(commandLine, kSwitchType, kShortSwitchSize);
    CheckSwitch(commandLine, kSwitchParam, commandLine.size());
    CheckSwitch(commandLine, kSwitchServiceId, kShortSwitchSize);

    if (const auto type = ReadSwitch(commandLine, kSwitchType, kShortSwitchSize)) {
        try {
            const std::int32_t number = TypeFromSwitch(*type);
            FUZZ_CHECK(TypeFromSwitch(std::to_wstring(number)) == number);
        } catch (const std::invalid_argument&) {
            // Settled: text that does not begin with a number.
            FUZZ_CHECK(std::iswdigit(static_cast<std::wint_t>((*type + L'x')[0])) == 0);
        } catch (const std::out_of_range&) {
            // Settled: a number beyond 32 bits.
            FUZZ_CHECK(type->find_first_of(L"0123456789") != std::wstring::npos && type->size() >= 10);
        }
    }
    if (const auto channel = ReadSwitch(commandLine, kSwitchChannel, kChannelSwitchSize)) {
        const std::string text = DecodeSwitch(*channel);
        FUZZ_CHECK(text.size() <= channel->size());
        std::string mid = "unset";
        const ChannelMidStatus status = ReadChannelMid(text, mid);
        FUZZ_CHECK(status == ChannelMidStatus::Ok || mid == "unset");
    }
    return 0;
}
