// The whole signer check over the bytes of a file.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "support/signer/sign_info.h"

namespace {

struct Info {
    std::int32_t code;
    std::string subject;
    std::string thumbprint;
    std::string issuer;
    bool operator==(const Info&) const = default;
};

Info OfFile(const std::vector<std::uint8_t>& file) {
    CMemorySource source(file);
    Info info{};
    info.code = GetSignInfo(source, info.subject, info.thumbprint, info.issuer);
    return info;
}

Info OfTable(const std::vector<std::uint8_t>& table) {
    Info info{};
    info.code = GetSignInfoOfTable(table, info.subject, info.thumbprint, info.issuer);
    return info;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> file(data, data + size);
    const Info info = OfFile(file);
    FUZZ_CHECK(info.code == 0 || info.code == -1 || info.code == -2 || info.code == -3 || info.code == -102);
    FUZZ_CHECK(info.code == 0 || (info.subject.empty() && info.thumbprint.empty() && info.issuer.empty()));
    const std::size_t entries =
        static_cast<std::size_t>(std::count(info.thumbprint.begin(), info.thumbprint.end(), ';'));
    FUZZ_CHECK(info.thumbprint.empty() || info.thumbprint.size() == 41 * entries + 40);

    CMemorySource source(file);
    const bool bTrusted = IsTrustedSigner(source);
    FUZZ_CHECK(!bTrusted || (info.code == 0 && info.subject.size() == 45));

    std::vector<std::uint8_t> table;
    if (ReadCertificateTable(source, table)) {
        FUZZ_CHECK(std::search(file.begin(), file.end(), table.begin(), table.end()) != file.end());
        FUZZ_CHECK(OfTable(table) == info);
        // Bytes after the length of the entry change nothing.
        const std::size_t length = table.size() < 9 ? 0
                                                    : table[0] | static_cast<std::size_t>(table[1]) << 8 |
                                                          static_cast<std::size_t>(table[2]) << 16 |
                                                          static_cast<std::size_t>(table[3]) << 24;
        if (table.size() >= 9 && length <= table.size() - 8) {
            table.insert(table.end(), 64, 0x30);
            FUZZ_CHECK(OfTable(table) == info);
        }
    } else {
        FUZZ_CHECK(info.code == -1);
    }
    // Bytes after the end of the file change nothing for a table within it.
    if (info.code != -1) {
        file.insert(file.end(), 100, 0xA5);
        FUZZ_CHECK(OfFile(file) == info);
    }
    return 0;
}
