// Certificate tables and pictures.
#include <utility>

#include "bench/bench_table.h"
#include "bench/worst_inputs.h"
#include "support/picture/ico_writer.h"
#include "support/picture/image_format.h"
#include "support/signer/sign_info.h"
#include "tests/unit/support/signer/der_builder.h"
#include "tests/unit/support/signer/pe_builder.h"

namespace {

using der::Bytes;

WorstInput Table(const char* kind, std::function<Bytes(std::size_t size)> make) {
    return {std::string("signer: ") + kind, [make = std::move(make)](std::size_t size) {
                Bytes table = pe::CertificateTable(make(size));
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
    inputs.push_back(Table(
        "signers", [certificate, signer](std::size_t size) { return SignedData(certificate, Many(signer, size)); }));
    inputs.push_back(Table("names of many parts", [](std::size_t size) {
        const Bytes part = der::NamePart(der::kCommonName, der::kUtf8, der::OfText("n"));
        const Bytes name = der::Indefinite(der::kSequence, Many(part, size / 2));
        return SignedData(der::Certificate(1, name, name), {});
    }));
    inputs.push_back(Table("elements of 2 bytes", [](std::size_t size) { return Many({der::kNull, 0}, size); }));
    inputs.push_back(Table("elements of 2 bytes below an indefinite one", [](std::size_t size) {
        return der::Indefinite(der::kSequence, Many({der::kNull, 0}, size));
    }));
    inputs.push_back(Table("indefinite elements in each other", [](std::size_t size) {
        return Many({der::kSequence, 0x80}, size);
    }));
    inputs.push_back(Table("indefinite elements in each other, with their ends", [](std::size_t size) {
        return der::Join({Many({der::kSequence, 0x80}, size / 2), Bytes(size / 2)});
    }));
    inputs.push_back(Table("ends of nothing", [](std::size_t size) { return Bytes(size); }));

    inputs.push_back({"signer: a file with its table at the end", [](std::size_t size) {
                          Bytes file = pe::Image(pe::kMachineX64, /*bWide=*/true, pe::CertificateTable(Bytes(size)));
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
