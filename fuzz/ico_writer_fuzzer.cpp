// An icon built from pieces of the input, read back by an independent reader.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "support/picture/ico_writer.h"
#include "support/picture/image_format.h"

namespace {

std::size_t Little(const std::vector<std::uint8_t>& file, std::size_t at, std::size_t width) {
    std::size_t value = 0;
    for (std::size_t i = width; i-- > 0;) {
        value = value << 8 | file.at(at + i);
    }
    return value;
}

}  // namespace

// Input: pairs of one byte for the size and one for the length of an image, then its bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<IcoImage> images;
    for (std::size_t at = 0; size - at >= 2 && images.size() < 255;) {
        const std::size_t length = std::min<std::size_t>(data[at + 1], size - at - 2);
        images.push_back({data[at] == 0 ? 256u : data[at], {data + at + 2, data + at + 2 + length}});
        at += 2 + length;
    }
    const std::vector<std::uint8_t> file = BuildIco(images);
    FUZZ_CHECK(ImageFormatOfBytes(file) == ImageFormatIco);
    FUZZ_CHECK(Little(file, 4, 2) == images.size());
    std::size_t dataAt = 6 + 16 * images.size();
    for (std::size_t i = 0; i < images.size(); ++i) {
        const std::size_t entry = 6 + 16 * i;
        FUZZ_CHECK((file.at(entry) == 0 ? 256u : file.at(entry)) == images[i].size);
        FUZZ_CHECK(file.at(entry + 1) == file.at(entry));
        FUZZ_CHECK(Little(file, entry + 8, 4) == images[i].png.size());
        FUZZ_CHECK(Little(file, entry + 12, 4) == dataAt);
        FUZZ_CHECK(
            std::equal(images[i].png.begin(), images[i].png.end(), file.begin() + static_cast<std::ptrdiff_t>(dataAt)));
        dataAt += images[i].png.size();
    }
    FUZZ_CHECK(file.size() == dataAt);
    return 0;
}
