// The signer check of one file as a program: check_signer FILE prints the signer's common name. Exit code 1 without
// one.
#include <cstdio>
#include <fstream>
#include <string>

#include "support/signer/sign_info.h"

namespace {

class CFileSource final : public IByteSource {
  public:
    explicit CFileSource(const char* path) : m_file(path, std::ios::binary) {}
    std::uint64_t Size() override {
        m_file.seekg(0, std::ios::end);
        return static_cast<std::uint64_t>(m_file.tellg());
    }
    bool ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) override {
        m_file.seekg(static_cast<std::streamoff>(offset));
        m_file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return m_file.good();
    }

  private:
    std::ifstream m_file;
};

}  // namespace

int main(int argc, char** argv) {
    std::string subject;
    std::string thumbprint;
    std::string issuer;
    if (argc < 2) {
        return 2;
    }
    CFileSource file(argv[1]);
    if (GetSignInfo(file, subject, thumbprint, issuer) != kSignInfoFound) {
        return 1;
    }
    std::puts(subject.c_str());
    return 0;
}
