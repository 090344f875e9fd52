#include "world/internet/tls_crypto.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::size_t kHashBytes = 32;
constexpr std::size_t kTagBytes = 16;
constexpr DWORD kKeyBits = 2048;

// The platform takes what it only reads as writable too.
BYTE* Bytes(std::string_view text) {
    return reinterpret_cast<BYTE*>(const_cast<char*>(text.data()));
}

ULONG Size(std::string_view text) {
    return static_cast<ULONG>(text.size());
}

std::string Hash(std::string_view key, std::string_view bytes) {
    BCRYPT_ALG_HANDLE opened = nullptr;
    BCryptOpenAlgorithmProvider(&opened, BCRYPT_SHA256_ALGORITHM, nullptr,
                                key.empty() ? 0 : BCRYPT_ALG_HANDLE_HMAC_FLAG);
    const CAlgorithm algorithm(opened);
    BCRYPT_HASH_HANDLE hasher = nullptr;
    BCryptCreateHash(opened, &hasher, nullptr, 0, Bytes(key), Size(key), 0);
    BCryptHashData(hasher, Bytes(bytes), Size(bytes), 0);
    std::string hash(kHashBytes, '\0');
    BCryptFinishHash(hasher, Bytes(hash), Size(hash), 0);
    BCryptDestroyHash(hasher);
    return hash;
}

std::string EncodedName() {
    DWORD size = 0;
    const wchar_t name[] = L"CN=nexlet-world";
    CertStrToNameW(X509_ASN_ENCODING, name, CERT_X500_NAME_STR, nullptr, nullptr, &size, nullptr);
    std::string encoded(size, '\0');
    CertStrToNameW(X509_ASN_ENCODING, name, CERT_X500_NAME_STR, nullptr, Bytes(encoded), &size, nullptr);
    return encoded;
}

FILETIME FirstOfYear(WORD year) {
    SYSTEMTIME time = {};
    time.wYear = year;
    time.wMonth = 1;
    time.wDay = 1;
    FILETIME file = {};
    SystemTimeToFileTime(&time, &file);
    return file;
}

// The certificate of the context's exchange key, signed with it; empty on a failure.
std::string SignedCertificate(HCRYPTPROV context) {
    DWORD size = 0;
    if (CryptExportPublicKeyInfo(context, AT_KEYEXCHANGE, X509_ASN_ENCODING, nullptr, &size) == FALSE) {
        return {};
    }
    std::vector<BYTE> key(size);
    CryptExportPublicKeyInfo(context, AT_KEYEXCHANGE, X509_ASN_ENCODING,
                             reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(key.data()), &size);
    const std::string name = EncodedName();
    const std::string serial = RandomBytes(8);
    CERT_INFO info = {};
    info.dwVersion = CERT_V3;
    info.SerialNumber = {Size(serial), Bytes(serial)};
    info.SignatureAlgorithm.pszObjId = const_cast<char*>(szOID_RSA_SHA256RSA);
    info.Issuer = {Size(name), Bytes(name)};
    info.Subject = info.Issuer;
    info.NotBefore = FirstOfYear(2020);
    info.NotAfter = FirstOfYear(2049);
    info.SubjectPublicKeyInfo = *reinterpret_cast<const CERT_PUBLIC_KEY_INFO*>(key.data());
    CRYPT_ALGORITHM_IDENTIFIER algorithm = {};
    algorithm.pszObjId = info.SignatureAlgorithm.pszObjId;
    const auto encode = [&](BYTE* bytes, DWORD* count) {
        return CryptSignAndEncodeCertificate(context, AT_KEYEXCHANGE, X509_ASN_ENCODING, X509_CERT_TO_BE_SIGNED, &info,
                                             &algorithm, nullptr, bytes, count) != FALSE;
    };
    if (!encode(nullptr, &size)) {
        return {};
    }
    std::string certificate(size, '\0');
    if (!encode(Bytes(certificate), &size)) {
        return {};
    }
    certificate.resize(size);
    return certificate;
}

}  // namespace

std::string RandomBytes(std::size_t count) {
    std::string bytes(count, '\0');
    BCryptGenRandom(nullptr, Bytes(bytes), Size(bytes), BCRYPT_USE_SYSTEM_PREFERRED_RNG);
    return bytes;
}

std::string Sha256(std::string_view bytes) {
    return Hash({}, bytes);
}

std::string TlsPrf(std::string_view secret, std::string_view label, std::string_view seed, std::size_t count) {
    const std::string all = std::string(label) + std::string(seed);
    std::string made;
    for (std::string link = all; made.size() < count;) {
        link = Hash(secret, link);
        made += Hash(secret, link + all);
    }
    made.resize(count);
    return made;
}

CAesGcm::CAesGcm(std::string_view key) {
    BCRYPT_ALG_HANDLE algorithm = nullptr;
    BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_AES_ALGORITHM, nullptr, 0);
    m_hAlgorithm.reset(algorithm);
    std::wstring mode = BCRYPT_CHAIN_MODE_GCM;
    BCryptSetProperty(algorithm, BCRYPT_CHAINING_MODE, reinterpret_cast<BYTE*>(mode.data()),
                      static_cast<ULONG>((mode.size() + 1) * sizeof(wchar_t)), 0);
    BCRYPT_KEY_HANDLE made = nullptr;
    BCryptGenerateSymmetricKey(algorithm, &made, nullptr, 0, Bytes(key), Size(key), 0);
    m_hKey.reset(made);
}

std::string CAesGcm::Seal(std::string_view nonce, std::string_view also, std::string_view plain) {
    std::string sealed(plain.size() + kTagBytes, '\0');
    BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO mode;
    BCRYPT_INIT_AUTH_MODE_INFO(mode);
    mode.pbNonce = Bytes(nonce);
    mode.cbNonce = Size(nonce);
    mode.pbAuthData = Bytes(also);
    mode.cbAuthData = Size(also);
    mode.pbTag = Bytes(sealed) + plain.size();
    mode.cbTag = kTagBytes;
    ULONG written = 0;
    const NTSTATUS status = BCryptEncrypt(m_hKey.get(), Bytes(plain), Size(plain), &mode, nullptr, 0, Bytes(sealed),
                                          Size(plain), &written, 0);
    return status == 0 && written == plain.size() ? sealed : std::string();
}

bool CAesGcm::Open(std::string_view nonce, std::string_view also, std::string_view sealed, std::string& plain) {
    if (sealed.size() < kTagBytes) {
        return false;
    }
    const std::string_view text = sealed.substr(0, sealed.size() - kTagBytes);
    plain.assign(text.size(), '\0');
    BCRYPT_AUTHENTICATED_CIPHER_MODE_INFO mode;
    BCRYPT_INIT_AUTH_MODE_INFO(mode);
    mode.pbNonce = Bytes(nonce);
    mode.cbNonce = Size(nonce);
    mode.pbAuthData = Bytes(also);
    mode.cbAuthData = Size(also);
    mode.pbTag = Bytes(sealed) + text.size();
    mode.cbTag = kTagBytes;
    ULONG written = 0;
    return BCryptDecrypt(m_hKey.get(), Bytes(text), Size(text), &mode, nullptr, 0, Bytes(plain), Size(plain), &written,
                         0) == 0;
}

CServerKey::CServerKey() {
    HCRYPTPROV context = 0;
    // Without a container, so that the key never leaves this process.
    if (CryptAcquireContextW(&context, nullptr, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) == FALSE) {
        return;
    }
    m_hContext.reset(context);
    HCRYPTKEY key = 0;
    if (CryptGenKey(context, AT_KEYEXCHANGE, kKeyBits << 16, &key) != FALSE) {
        m_hKey.reset(key);
        m_strCertificate = SignedCertificate(context);
    }
}

std::string CServerKey::Open(std::string_view sealed) {
    std::string bytes(sealed.rbegin(), sealed.rend());  // this interface has the lowest byte first
    auto size = static_cast<DWORD>(bytes.size());
    const CNativeGuard guard(m_lock);
    if (CryptDecrypt(m_hKey.get(), 0, TRUE, 0, Bytes(bytes), &size) == FALSE) {
        return {};
    }
    bytes.resize(size);
    return bytes;
}
