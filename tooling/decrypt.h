// Opening envelopes, for those who hold the private key: operators and tests.
#pragma once

#include <string>

// Opens the envelope with the private key of privateKeyPem, a PEM text with an RSA key of up to 1024 bits as PKCS#1
// ("RSA PRIVATE KEY") or PKCS#8 ("PRIVATE KEY"), not encrypted; text around the key does not matter. Blanks and line
// ends around the envelope do not matter either; within it every block must be exactly right.
//
// True, and the text; or false, an empty text and one sentence about what is wrong. The time taken depends on the key:
// do not offer this to strangers.
bool DecryptEnvelope(const std::string& envelope, const std::string& privateKeyPem, std::string& text,
                     std::string& complaint);
