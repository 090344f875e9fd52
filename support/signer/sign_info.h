// The signer of a Windows executable or library, by the names in its certificate table.
//
// This is a name check and proves nothing by itself. No signature is verified, no chain is built, no time, purpose or
// revocation is looked at, and the file's contents are not hashed: any program that can write the file can make it say
// any name. It keeps a wrong or unsigned file from being loaded by accident; it does not protect against an attacker.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/signer/pe_certificate_table.h"

// Result codes of GetSignInfo.
constexpr std::int32_t kSignInfoFound = 0;
constexpr std::int32_t kSignInfoNoTable = -1;  // none, not readable, or too little memory
constexpr std::int32_t kSignInfoTableTooShort = -2;
constexpr std::int32_t kSignInfoWrongHeader = -3;
constexpr std::int32_t kSignInfoNoMatch = -102;  // no certificate is the signer's

// The common name of subject and issuer (UTF-8) and the SHA-1 thumbprint (40 lower-case digits) of the certificate that
// the first signer names. Without a signer: of the only certificate, or of each leaf that is not a time stamp's, joined
// by ";", which may be none at all: 0 with empty texts is possible. The three texts are replaced; on any other code
// than 0 they are empty. Nothing is logged. Any thread.
//
// For any file, the memory stays below a small multiple of its certificate table and the time grows with the
// table's size n no faster than n log n. Without that memory the result is kSignInfoNoTable.
std::int32_t GetSignInfo(const std::wstring& path, std::string& subject, std::string& thumbprint, std::string& issuer);

// Whether the file's signer bears the trusted company's name, without regard to case.
bool IsTrustedSigner(const std::wstring& path);

// Reads the file's certificate table; see ReadCertificateTable(IByteSource&, ...).
bool ReadCertificateTable(const std::wstring& path, std::vector<std::uint8_t>& table);

// The same for a file whose bytes are at hand.
std::int32_t GetSignInfo(IByteSource& file, std::string& subject, std::string& thumbprint, std::string& issuer);
bool IsTrustedSigner(IByteSource& file);

// The same for a certificate table.
std::int32_t GetSignInfoOfTable(std::span<const std::uint8_t> table, std::string& subject, std::string& thumbprint,
                                std::string& issuer);
