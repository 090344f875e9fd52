// What the signer check of one file costs, against opening it and reading its certificate table.
#ifdef _WIN32
#include "foundation/windows_headers.h"
#else
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#endif

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/bench_table.h"
#include "foundation/text_helpers.h"
#include "support/signer/sign_info.h"

#ifndef _WIN32
namespace {

// What an engineer would write with OpenSSL: the common name of the first signer's certificate, empty for a table that
// it does not understand. The table begins with a header of eight bytes.
std::string SignerByOpenSsl(const std::vector<std::uint8_t>& table) {
    const unsigned char* bytes = table.data() + 8;
    PKCS7* const message = d2i_PKCS7(nullptr, &bytes, static_cast<long>(table.size() - 8));
    std::string name;
    if (STACK_OF(X509)* const signers = message != nullptr ? PKCS7_get0_signers(message, nullptr, 0) : nullptr) {
        char text[256] = {};
        X509_NAME_get_text_by_NID(X509_get_subject_name(sk_X509_value(signers, 0)), NID_commonName, text, sizeof text);
        name = text;
        sk_X509_free(signers);
    }
    PKCS7_free(message);
    return name;
}

}  // namespace
#endif

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : std::string(NEXLET_SIGNED_FILES) + "/countersigned.dll";
    std::ifstream stream(path, std::ios::binary);
    const std::vector<std::uint8_t> file((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    std::vector<std::uint8_t> table;
    std::string subject;
    std::string thumbprint;
    std::string issuer;
    CMemorySource source(file);
    if (!ReadCertificateTable(source, table)) {
        std::printf("%s has no certificate table\n", path.c_str());
        return 1;
    }
    BenchTable memory("the signer, a file in memory");
    memory.Add("read the table", Each([&] { ReadCertificateTable(source, table); }));
    memory.Add("IsTrustedSigner", Each([&] { IsTrustedSigner(source); }));
    memory.Add("GetSignInfo", Each([&] { GetSignInfo(source, subject, thumbprint, issuer); }));
#ifndef _WIN32
    if (!ReadCertificateTable(source, table) || SignerByOpenSsl(table).empty()) {
        std::printf("OpenSSL finds no signer in %s\n", path.c_str());
        return 1;
    }
    memory.Add("OpenSSL, name of the signer", Each([&] { Keep(SignerByOpenSsl(table)); }));
#endif
    memory.Run();
#ifdef _WIN32
    const std::wstring wide = Utf8ToUtf16(path);
    BenchTable disk("the signer, a file on disk");
    disk.Add("open the file and read the table", Each([&] { ReadCertificateTable(wide, table); }));
    disk.Add("IsTrustedSigner", Each([&] { IsTrustedSigner(wide); }));
    disk.Add("GetSignInfo", Each([&] { GetSignInfo(wide, subject, thumbprint, issuer); }));
    disk.Run();
#endif
    return 0;
}
