// The DER walker with the collecter of the signer check, over the contents of a certificate table.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "support/signer/der_walker.h"
#include "support/signer/sign_info.h"
#include "support/signer/sign_info_collecter.h"

namespace {

// Checks that every element is within the region and that starts move forward; the answers come from the input, so
// that stopping and not entering are tried everywhere.
class CBoundsChecker : public IASN1ParserCallback {
  public:
    explicit CBoundsChecker(std::span<const std::uint8_t> region) : m_region(region) {}

    std::uint32_t OnElement(std::uint32_t, std::uint32_t tag, std::uint32_t length, const std::uint8_t* value,
                            std::uint32_t totalLength, const std::uint8_t* elementStart) override {
        const std::uint8_t* begin = m_region.data();
        const std::uint8_t* end = begin + m_region.size();
        FUZZ_CHECK(begin <= elementStart && elementStart < value && value <= end);
        FUZZ_CHECK(length <= static_cast<std::size_t>(end - value));
        FUZZ_CHECK(elementStart + totalLength == value + length);
        FUZZ_CHECK(*elementStart == tag);
        FUZZ_CHECK(m_pLast == nullptr || m_pLast < elementStart);
        m_pLast = elementStart;
        ++m_nElements;
        FUZZ_CHECK(m_nElements <= m_region.size() / 2);
        return (tag & 0xC0) == 0xC0 ? (tag & 1 ? kAsn1Stop : kAsn1DoNotEnter) : 0;
    }

  private:
    std::span<const std::uint8_t> m_region;
    const std::uint8_t* m_pLast = nullptr;
    std::size_t m_nElements = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> region(data, size);
    CBoundsChecker bounds(region);
    Asn1Parser(region, &bounds).Parse();

    SignInfoCollecter collected(region);
    Asn1Parser(region, &collected).Parse();
    const std::size_t kept = collected.Kept();
    FUZZ_CHECK(kept <= collected.Certificates() && (kept > 0) == (collected.Certificates() > 0));
    for (std::size_t i = 0; i < kept; ++i) {
        FUZZ_CHECK(collected.Thumbprint(i).size() == 40);
        FUZZ_CHECK(collected.HasIssuerName(i) == !collected.IssuerName(i).empty());
        FUZZ_CHECK(collected.IssuerBytes(i).size() + collected.Serial(i).size() <= size);
        // Between the first and the last only what a selection can choose.
        FUZZ_CHECK(i == 0 || i + 1 == kept || !collected.SubjectName(i).empty() || !collected.IssuerName(i).empty() ||
                   (!collected.IssuerBytes(i).empty() && !collected.Serial(i).empty()));
    }
    FUZZ_CHECK(collected.SignerIssuer().size() + collected.SignerSerial().size() <= size);
    return 0;
}
