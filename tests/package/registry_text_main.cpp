// registry_text.exe: writes what the registry holds to its standard output.
#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <string>

#include "tests/support/registry_text.h"

int main() {
    _setmode(_fileno(stdout), _O_BINARY);
    const std::string text = RegistryText();
    return !text.empty() && std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}
