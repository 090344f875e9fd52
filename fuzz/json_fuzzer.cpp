// The JSON helper against the library's own writer, and that what was written reads back as the same text.
#include <cstddef>
#include <cstdint>
#include <string>

#include <json/writer.h>

#include "foundation/json_numbers.h"
#include "foundation/json_text.h"
#include "fuzz/fuzz_check.h"

namespace {

std::string LibraryText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["commentStyle"] = "None";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    Json::Value value;
    const bool parsed = ParseJson(input, value);
    if (const auto shortened = WithShortNumbers(input, 21)) {
        Json::Value same;
        FUZZ_CHECK(ParseJson(*shortened, same) == parsed);
        FUZZ_CHECK(same == value);
    }
    if (!parsed) {
        FUZZ_CHECK(value.isNull());
        return 0;
    }
    const std::string text = WriteJson(value);
    FUZZ_CHECK(text == LibraryText(value));
    FUZZ_CHECK(ParseJson(text, value) && WriteJson(value) == text);
    return 0;
}
