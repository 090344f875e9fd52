#include "nexctl/console/input_text.h"

#include "nexctl/console/utf16_bytes.h"

namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16Mark = "\xFF\xFE";

}  // namespace

std::string DecodeInputText(std::string_view bytes) {
    if (bytes.starts_with(kUtf16Mark)) {
        return DecodeUtf16(bytes.substr(kUtf16Mark.size()));
    }
    return std::string(bytes.starts_with(kUtf8Mark) ? bytes.substr(kUtf8Mark.size()) : bytes);
}
