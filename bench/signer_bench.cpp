// What the signer check of one file costs, against opening it and reading its certificate table.
#ifdef _WIN32
#include "foundation/windows_headers.h"
#endif

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/bench_table.h"
#include "foundation/text_helpers.h"
#include "support/signer/sign_info.h"

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
