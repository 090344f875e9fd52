// ReadPeLibrary on any bytes: what it refuses has no exports, and its names hold no zero byte.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "nexctl/doctor/pe_library.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const PeLibrary library = ReadPeLibrary({reinterpret_cast<const char*>(data), size});
    FUZZ_CHECK(library.bRead || library.exports.empty());
    for (const std::string& name : library.exports) {
        FUZZ_CHECK(name.find('\0') == std::string::npos && name.size() < size);
    }
    return 0;
}
