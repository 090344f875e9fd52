// The arithmetic of a TLS 1.2 server, from Windows's own libraries.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "client/native_lock.h"
#include "foundation/handle.h"

#include <bcrypt.h>
#include <wincrypt.h>

std::string RandomBytes(std::size_t count);
std::string Sha256(std::string_view bytes);
// The pseudo-random function of TLS 1.2, with SHA-256.
std::string TlsPrf(std::string_view secret, std::string_view label, std::string_view seed, std::size_t count);

struct AlgorithmTraits {
    using Handle = BCRYPT_ALG_HANDLE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { BCryptCloseAlgorithmProvider(handle, 0); }
};
using CAlgorithm = CUniqueHandle<AlgorithmTraits>;

struct SymmetricKeyTraits {
    using Handle = BCRYPT_KEY_HANDLE;
    static Handle Empty() { return nullptr; }
    static void Close(Handle handle) { BCryptDestroyKey(handle); }
};
using CSymmetricKey = CUniqueHandle<SymmetricKeyTraits>;

// AES with 128 bits in Galois/counter mode. One thread at a time.
class CAesGcm {
  public:
    explicit CAesGcm(std::string_view key);

    // The encrypted text followed by its tag; empty on a failure.
    std::string Seal(std::string_view nonce, std::string_view also, std::string_view plain);
    // False when the tag does not fit.
    bool Open(std::string_view nonce, std::string_view also, std::string_view sealed, std::string& plain);

  private:
    CAlgorithm m_hAlgorithm;  // must outlive the key
    CSymmetricKey m_hKey;
};

struct KeyContextTraits {
    using Handle = HCRYPTPROV;
    static Handle Empty() { return 0; }
    static void Close(Handle handle) { CryptReleaseContext(handle, 0); }
};
using CKeyContext = CUniqueHandle<KeyContextTraits>;

struct KeyTraits {
    using Handle = HCRYPTKEY;
    static Handle Empty() { return 0; }
    static void Close(Handle handle) { CryptDestroyKey(handle); }
};
using CKey = CUniqueHandle<KeyTraits>;

// An RSA key of this process alone, which ends with it, and a certificate that it has signed for itself. Any thread.
class CServerKey {
  public:
    CServerKey();

    bool Ready() const { return !m_strCertificate.empty(); }
    const std::string& Certificate() const { return m_strCertificate; }
    // What was sealed under the key; empty when it was not.
    std::string Open(std::string_view sealed);

  private:
    CKeyContext m_hContext;
    CKey m_hKey;
    std::string m_strCertificate;
    CNativeLock m_lock;  // one decryption at a time
};
