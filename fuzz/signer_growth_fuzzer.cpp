// The signer check over tables of up to 256 KiB that are made of small pieces, each repeated many times: it needs
// little memory, and picks what a plain reading of the same certificates picks.
//
// The input is a list of pieces: a byte whose low half says how often the piece is repeated (two to that power), a byte
// with its length less 1, then its bytes. They are where the certificates are, or, when the first byte has its
// highest bit set, in the place of all SignedData. Three bits of it ask for the largest tables.
#include <sanitizer/allocator_interface.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "support/signer/sign_info.h"
#include "support/signer/sign_info_collecter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Most tables stay below the first, which are quick, and those of inputs that ask for it below the second.
constexpr std::size_t kUsualMostBytes = std::size_t{4} << 10;
constexpr std::size_t kMostBytes = std::size_t{256} << 10;
constexpr std::uint8_t kAsksForMost = 0x70;

// WIN_CERTIFICATE with a length beyond every table, ContentInfo and SignedData in indefinite lengths up to the
// certificate set.
constexpr std::uint8_t kHead[] = {0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x02, 0x02, 0x00, 0x30, 0x80, 0x06,
                                  0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02, 0xA0,
                                  0x80, 0x30, 0x80, 0x02, 0x00, 0x31, 0x00, 0x30, 0x00, 0xA0, 0x80};
constexpr std::size_t kCertificateHeaderBytes = 8;

Bytes TableOf(const std::uint8_t* data, std::size_t size) {
    Bytes table(std::begin(kHead), std::end(kHead));
    if (size > 0 && (*data & 0x80) != 0) {
        table.resize(kCertificateHeaderBytes);
    }
    const std::size_t most = size > 0 && (*data & kAsksForMost) == kAsksForMost ? kMostBytes : kUsualMostBytes;
    while (size > 2 && table.size() < most) {
        const std::size_t times = std::size_t{1} << (data[0] & 0x0F);
        const std::size_t length = std::min<std::size_t>(data[1] + 1u, size - 2);
        data += 2;
        for (std::size_t i = 0; i < times && table.size() < most; ++i) {
            table.insert(table.end(), data, data + length);
        }
        data += length;
        size -= length + 2;
    }
    return table;
}

std::size_t g_nLive = 0;
std::size_t g_nPeak = 0;
bool g_bCounting = false;

void OnAllocation(const volatile void* /*memory*/, std::size_t size) {
    if (g_bCounting) {
        g_nLive += size;
        g_nPeak = std::max(g_nPeak, g_nLive);
    }
}

void OnFree(const volatile void* memory) {
    if (g_bCounting && memory != nullptr) {
        const std::size_t size = __sanitizer_get_allocated_size(memory);
        g_nLive -= std::min(g_nLive, size);
    }
}

bool IsOfTimeStamp(std::string subject) {
    for (char& c : subject) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    return subject.find("time stamp") != std::string::npos;
}

// The names of all certificates in two vectors, as they come, and the selection by comparing each with all.
class CPlainReader : public IASN1ParserCallback {
  public:
    explicit CPlainReader(std::span<const std::uint8_t> walked) : m_collecter(walked) {}

    std::uint32_t OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length, const std::uint8_t* value,
                            std::uint32_t totalLength, const std::uint8_t* elementStart) override {
        const std::uint64_t before = m_collecter.Certificates();
        const std::uint32_t answer = m_collecter.OnElement(depth, tag, length, value, totalLength, elementStart);
        if (m_collecter.Certificates() > before) {
            m_vecSubjects.emplace_back();
            m_vecIssuers.emplace_back();
        }
        if (m_collecter.Kept() > 0) {  // the current certificate is always the last that is kept
            m_vecSubjects.back() = m_collecter.SubjectName(m_collecter.Kept() - 1);
            m_vecIssuers.back() = m_collecter.IssuerName(m_collecter.Kept() - 1);
        }
        return answer;
    }

    // What is given when there is no signer.
    std::string Leaves() const {
        std::string joined;
        bool bFirst = true;
        for (const std::string& subject : m_vecSubjects) {
            const bool bLeaf =
                !IsOfTimeStamp(subject) && std::ranges::find(m_vecIssuers, subject) == m_vecIssuers.end();
            if (m_vecSubjects.size() == 1 || bLeaf) {
                joined += bFirst ? subject : ";" + subject;
                bFirst = false;
            }
        }
        return joined;
    }
    std::size_t Certificates() const { return m_vecSubjects.size(); }
    bool HasSigner() const { return !m_collecter.SignerIssuer().empty() && !m_collecter.SignerSerial().empty(); }

  private:
    SignInfoCollecter m_collecter;
    std::vector<std::string> m_vecSubjects;
    std::vector<std::string> m_vecIssuers;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    __sanitizer_install_malloc_and_free_hooks(&OnAllocation, &OnFree);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes table = TableOf(data, size);
    std::string subject;
    std::string thumbprint;
    std::string issuer;
    g_nLive = g_nPeak = 0;
    g_bCounting = true;
    const std::int32_t code = GetSignInfoOfTable(table, subject, thumbprint, issuer);
    g_bCounting = false;
    FUZZ_CHECK(code == 0 || code == -2 || code == -3 || code == -102);
    FUZZ_CHECK(g_nPeak <= 8 * table.size() + 8192);

    if (code == 0 && table.size() > kCertificateHeaderBytes && table.size() < 65'536) {
        const std::span<const std::uint8_t> contents = std::span(table).subspan(kCertificateHeaderBytes);
        CPlainReader plain(contents);
        Asn1Parser(contents, &plain).Parse();
        if (!plain.HasSigner() && plain.Certificates() < 1000) {
            FUZZ_CHECK(plain.Leaves() == subject);
        }
    }
    return 0;
}
