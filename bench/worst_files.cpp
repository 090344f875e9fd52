// Certificate tables and pictures.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <utility>

#include "bench/bench_table.h"
#include "bench/worst_inputs.h"
#include "support/picture/ico_writer.h"
#include "support/picture/image_format.h"
#include "support/signer/sign_info.h"
#include "support/signer/sign_info_collecter.h"
#include "tests/unit/support/signer/der_builder.h"
#include "tests/unit/support/signer/pe_builder.h"

namespace {

using der::Bytes;

// Passes a walk on to the collecter and remembers how far it came.
class CReach final : public IASN1ParserCallback {
  public:
    explicit CReach(std::span<const std::uint8_t> walked) : m_collecter(walked), m_begin(walked.data()) {}

    std::uint32_t OnElement(std::uint32_t depth, std::uint32_t tag, std::uint32_t length, const std::uint8_t* value,
                            std::uint32_t totalLength, const std::uint8_t* elementStart) override {
        m_reached = std::max(m_reached, static_cast<std::size_t>(elementStart - m_begin));
        return m_collecter.OnElement(depth, tag, length, value, totalLength, elementStart);
    }
    std::size_t Reached() const { return m_reached; }

  private:
    SignInfoCollecter m_collecter;
    const std::uint8_t* m_begin;
    std::size_t m_reached = 0;
};

// A walk that ends early costs nothing, whatever follows: such an input says nothing about the reader.
void MustBeReadInFull(const char* kind, std::span<const std::uint8_t> contents) {
    constexpr std::size_t kLastElement = 512;
    CReach reach(contents);
    Asn1Parser(contents, &reach).Parse();
    if (reach.Reached() + kLastElement < contents.size()) {
        std::fprintf(stderr, "signer: %s: read to byte %zu of %zu\n", kind, reach.Reached(), contents.size());
        std::exit(1);
    }
}

WorstInput Table(const char* kind, std::function<Bytes(std::size_t size)> make) {
    return {std::string("signer: ") + kind, [kind, make = std::move(make)](std::size_t size) {
                const Bytes contents = make(size);
                MustBeReadInFull(kind, contents);
                Bytes table = pe::CertificateTable(contents);
                const std::size_t bytes = table.size();
                return WorstInput::Prepared{bytes, [table = std::move(table)] {
                                                std::string subject;
                                                std::string thumbprint;
                                                std::string issuer;
                                                Keep(GetSignInfoOfTable(table, subject, thumbprint, issuer));
                                            }};
            }};
}

Bytes Many(const Bytes& piece, std::size_t size) {
    Bytes bytes;
    bytes.reserve(size + piece.size());
    while (bytes.size() + piece.size() <= size) {
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    return bytes;
}

// SignedData with fields in the form that has no length, so that they may be of any size.
Bytes SignedData(const Bytes& certificates, const Bytes& signers) {
    return der::Indefinite(
        der::kSequence,
        der::Join({der::SignedDataOid(),
                   der::Indefinite(
                       der::kContext0,
                       der::Indefinite(der::kSequence,
                                       der::Join({der::FirstFields(), der::Indefinite(der::kContext0, certificates),
                                                  der::Indefinite(der::kSet, signers)})))}));
}

// A certificate with this issuer and subject, of any size.
Bytes LongCertificate(const Bytes& name) {
    const Bytes none = der::Element(der::kNull, Bytes{});
    return der::Indefinite(
        der::kSequence,
        der::Indefinite(der::kSequence, der::Join({none, der::Serial(1), none, name, none, name, none})));
}

Bytes DifferentCertificates(std::size_t size) {
    Bytes bytes;
    for (std::size_t number = 0; bytes.size() + 200 <= size; ++number) {
        const Bytes issuer = der::Name("issuer " + std::to_string(number));
        const Bytes one =
            der::Certificate(static_cast<std::uint8_t>(number), issuer, der::Name("subject " + std::to_string(number)));
        bytes.insert(bytes.end(), one.begin(), one.end());
    }
    return bytes;
}

}  // namespace

void AddSigners(WorstInputs& inputs) {
    const Bytes issuer = der::Name("i");
    const Bytes certificate = der::Certificate(1, issuer, der::Name("s"));
    const Bytes signer = der::SignerInfo(1, issuer);

    inputs.push_back(Table("certificates without a signer",
                           [certificate](std::size_t size) { return SignedData(Many(certificate, size), {}); }));
    inputs.push_back(Table("different certificates without a signer",
                           [](std::size_t size) { return SignedData(DifferentCertificates(size), {}); }));
    inputs.push_back(Table("certificates of 2 bytes", [](std::size_t size) {
        return SignedData(Many({der::kSequence, 0}, size), {});
    }));
    inputs.push_back(Table("certificates of 2 bytes and a signer", [signer](std::size_t size) {
        return SignedData(Many({der::kSequence, 0}, size), signer);
    }));
    inputs.push_back(Table("certificates and a signer that matches none", [certificate](std::size_t size) {
        return SignedData(Many(certificate, size), der::SignerInfo(9, der::Name("nobody")));
    }));
    // After the first signer nothing is read, so it is that one that grows.
    inputs.push_back(Table("a signer of many fields", [certificate, issuer](std::size_t size) {
        return SignedData(certificate,
                          der::Indefinite(der::kSequence, der::Join({der::Element(der::kInteger, Bytes{1}),
                                                                     der::Sequence({issuer, der::Serial(1)}),
                                                                     Many({der::kNull, 0}, size)})));
    }));
    inputs.push_back(Table("names of many parts", [](std::size_t size) {
        const Bytes part = der::NamePart(der::kCommonName, der::kUtf8, der::OfText("n"));
        return SignedData(LongCertificate(der::Indefinite(der::kSequence, Many(part, size / 2))), {});
    }));
    inputs.push_back(Table("elements of 2 bytes", [](std::size_t size) { return Many({der::kNull, 0}, size); }));
    inputs.push_back(Table("elements of 2 bytes below an indefinite one", [](std::size_t size) {
        return der::Indefinite(der::kSequence, der::Join({der::SignedDataOid(), Many({der::kNull, 0}, size)}));
    }));
    inputs.push_back(Table("indefinite elements in each other", [](std::size_t size) {
        return SignedData(Many({der::kSequence, 0x80}, size), {});
    }));
    inputs.push_back(Table("indefinite elements in each other, with their ends", [](std::size_t size) {
        return SignedData(der::Join({Many({der::kSequence, 0x80}, size / 2), Bytes(size / 2)}), {});
    }));
    // An end without a beginning ends the walk.
    inputs.push_back(Table("indefinite elements that end at once", [](std::size_t size) {
        return SignedData(Many({der::kSequence, 0x80, 0, 0}, size), {});
    }));

    inputs.push_back({"signer: a file with its table at the end", [certificate](std::size_t size) {
                          const Bytes contents = SignedData(Many(certificate, size), {});
                          Bytes file = pe::Image(pe::kMachineX64, /*bWide=*/true, pe::CertificateTable(contents));
                          const std::size_t bytes = file.size();
                          return WorstInput::Prepared{bytes, [file = std::move(file)] {
                                                          CMemorySource source(file);
                                                          Keep(IsTrustedSigner(source));
                                                      }};
                      }});
}

void AddPictures(WorstInputs& inputs) {
    inputs.push_back({"picture: the format of its first bytes", [](std::size_t size) {
                          return WorstInput::Prepared{
                              size, [head = Bytes(size, 'R')] {
                                  Keep(ImageFormatOfBytes(std::span(head).first(kImageFormatBytes)));
                              }};
                      }});
    inputs.push_back({"picture: an icon file of six images", [](std::size_t size) {
                          std::vector<IcoImage> images;
                          for (const std::uint32_t side : kIcoSizes) {
                              images.push_back({side, Bytes(size / kIcoSizes.size(), 'x')});
                          }
                          return WorstInput::Prepared{size, [images = std::move(images)] { Keep(BuildIco(images)); }};
                      }});
}
