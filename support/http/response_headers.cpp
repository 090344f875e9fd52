#include "support/http/response_headers.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

constexpr std::uint32_t kNameBytes = 520;
constexpr std::size_t kValueBytes = 4096;
// No response carries a header of this size; a platform that asks for more room gets no more.
constexpr std::uint32_t kLargestRoom = 1u << 20;
// The platform's mark, as an index, that no further header of the name exists.
constexpr std::uint32_t kNoFurtherHeader = 12150;

HeaderAnswer Ask(const std::string& name, std::uint32_t room, std::vector<char>& buffer, std::uint32_t& size,
                 std::uint32_t& index, const HeaderQuery& query) {
    buffer.assign(std::max(room, kNameBytes) + 1, '\0');
    std::memcpy(buffer.data(), name.data(), std::min<std::size_t>(name.size(), kNameBytes));
    size = room;
    return query(buffer.data(), size, index);
}

void CaptureHeader(const std::string& name, const HeaderQuery& query,
                   std::multimap<std::string, std::string>& headers) {
    // Kept: cleared once for the name and not for each of its values, which come without a terminator. Of a longer
    // value before it a shorter one keeps the end. The test AShorterValueKeepsTheEndOfTheOneBefore holds it.
    std::array<char, kValueBytes> value{};
    std::vector<char> buffer;
    std::uint32_t index = 0;
    for (;;) {
        const std::uint32_t asked = index;
        std::uint32_t size = 0;
        HeaderAnswer answer = Ask(name, kNameBytes, buffer, size, index, query);
        if (answer == HeaderAnswer::Found) {
            std::copy_n(buffer.begin(), std::min(size, kNameBytes), value.begin());
        } else if (answer == HeaderAnswer::TooSmall && size < kLargestRoom) {
            // The refused question may have moved the index on already.
            index = asked;
            answer = Ask(name, size + 1, buffer, size, index, query);
            value.fill('\0');
            std::copy_n(buffer.begin(), std::min(buffer.size(), value.size()), value.begin());
        }
        if (answer != HeaderAnswer::Found) {
            return;
        }
        headers.emplace(name, std::string(value.begin(), std::find(value.begin(), value.end(), '\0')));
        // An index that does not move on would give the same value for ever.
        if (index == kNoFurtherHeader || index <= asked) {
            return;
        }
    }
}

}  // namespace

std::multimap<std::string, std::string> CaptureHeaders(const std::set<std::string>& names, const HeaderQuery& query) {
    std::multimap<std::string, std::string> headers;
    for (const std::string& name : names) {
        CaptureHeader(name, query, headers);
    }
    return headers;
}
