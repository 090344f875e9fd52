// The sizes that pictures declare: any bytes are read within their bounds, and more bytes never make a size unknown.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "support/picture/picture_size.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> file(data, data + size);  // a copy, so that a read past its end is detected
    const auto declared = DeclaredPictureSize(file);
    if (declared) {
        FUZZ_CHECK(declared->width <= 0xFFFFFFFF && declared->height <= 0xFFFFFFFF);
        file.resize(file.size() + 64, 0x55);
        FUZZ_CHECK(DeclaredPictureSize(file).has_value());
    }
    return 0;
}
