// The picture kinds by their first bytes: only the first twelve count, and each kind has its own first byte.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "support/picture/image_format.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> head(data, data + size);  // a copy, so that a read past its end is detected
    const ImageFormat format = ImageFormatOfBytes(head);
    FUZZ_CHECK(format >= ImageFormatUnknown && format <= ImageFormatWebp);
    constexpr std::uint8_t kFirst[] = {0, 0x89, 0xFF, 'B', 'G', 0x00, 'R'};
    FUZZ_CHECK(format == ImageFormatUnknown || head[0] == kFirst[format]);

    std::vector<std::uint8_t> longer = head;
    longer.resize(longer.size() + 20, 0x55);
    FUZZ_CHECK(format == ImageFormatUnknown || ImageFormatOfBytes(longer) == format);
    if (head.size() > 12) {
        FUZZ_CHECK(ImageFormatOfBytes(std::span(head).first(12)) == format);
    }
    return 0;
}
