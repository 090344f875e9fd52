#include "foundation/windows_headers.h"

#include "foundation/handle.h"
#include "support/signer/sign_info.h"

namespace {

// A file open for reading. A file that cannot be opened has no bytes.
class CFileSource : public IByteSource {
  public:
    explicit CFileSource(const std::wstring& path)
        : m_hFile(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr)) {
        LARGE_INTEGER size;
        if (m_hFile && GetFileSizeEx(m_hFile.get(), &size)) {
            m_nSize = static_cast<std::uint64_t>(size.QuadPart);
        }
    }

    std::uint64_t Size() override { return m_nSize; }

    bool ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
        if (bytes.size() > MAXDWORD) {
            return false;
        }
        OVERLAPPED at{};  // names the offset: no seek before the read
        at.Offset = static_cast<DWORD>(offset);
        at.OffsetHigh = static_cast<DWORD>(offset >> 32);
        DWORD read = 0;
        return ReadFile(m_hFile.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, &at) &&
               read == bytes.size();
    }

  private:
    CFileHandle m_hFile;
    std::uint64_t m_nSize = 0;
};

}  // namespace

bool ReadCertificateTable(const std::wstring& path, std::vector<std::uint8_t>& table) {
    CFileSource file(path);
    return ReadCertificateTable(file, table);
}

std::int32_t GetSignInfo(const std::wstring& path, std::string& subject, std::string& thumbprint, std::string& issuer) {
    CFileSource file(path);
    return GetSignInfo(file, subject, thumbprint, issuer);
}

bool IsTrustedSigner(const std::wstring& path) {
    CFileSource file(path);
    return IsTrustedSigner(file);
}
